"""Which class a name means to the code of another, where several loaders have one of this name. Needs no gdb."""

_MAX_PARENTS = 64


class Loaders:
    """Classes are given by their java.lang.Class objects."""

    def __init__(self, heap):
        self._heap = heap

    def nearest(self, user, classes):
        """The index of the class that `user` sees: that of its own loader, else of the nearest of the loader's parents; 0 when it
        sees none."""
        order = self._outwards(self._loader(user))
        return min(range(len(classes)), key=lambda index: self._rank(order, classes[index]))

    def _rank(self, order, mirror):
        loader = self._loader(mirror)
        return order.index(loader) if loader in order else len(order)

    def _loader(self, mirror):
        """An object, 0 for the bootstrap loader."""
        return self._heap.get(mirror, "classLoader") or 0

    def _outwards(self, loader):
        found = [loader]
        while found[-1] and len(found) < _MAX_PARENTS:
            found.append(self._heap.get(found[-1], "parent") or 0)
        return found
