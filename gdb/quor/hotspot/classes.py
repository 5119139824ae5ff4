"""Loaded classes by name, and their static fields. Needs no gdb."""

_MAX_LOADERS, _MAX_CLASSES = 1 << 20, 1 << 22


class Classes:
    """Raises MissingEntry when the tables do not tell how classes are linked."""

    def __init__(self, memory, tables, heap):
        self._memory, self._heap = memory, heap
        self._head = tables.static("ClassLoaderDataGraph::_head")
        self._next_loader, self._klasses = tables.offset("ClassLoaderData::_next"), tables.offset("ClassLoaderData::_klasses")
        self._next_class, self._mirror = tables.offset("Klass::_next_link"), tables.offset("Klass::_java_mirror")
        self._found = {}

    def forget(self):
        self._found.clear()

    def all(self):
        """The class records of all loaders."""
        loader = self._memory.word(self._head)
        for _ in range(_MAX_LOADERS):
            if not loader:
                return
            klass = self._memory.word(loader + self._klasses)
            for _ in range(_MAX_CLASSES):
                if not klass:
                    break
                yield klass
                klass = self._memory.word(klass + self._next_class)
            loader = self._memory.word(loader + self._next_loader)

    def find(self, name):
        """The class of this internal name in any loader, or 0."""
        return next(iter(self.named(name)), 0)

    def named(self, name):
        """The classes of this internal name: at most one a loader."""
        if name not in self._found:
            self._found[name] = [klass for klass in self.all() if self._heap.class_name(klass) == name]
        return self._found[name]

    def mirror(self, klass):
        """Its java.lang.Class, which holds its static fields."""
        return self._heap.of_handle(klass + self._mirror)

    def static(self, klass, name):
        """The value of a static field that the class declares; None when it has none of this name."""
        field = self._heap.declared(klass).get(name)
        if field is None or not field.static:
            return None
        return self._heap.value(self.mirror(klass) + field.offset, field.signature)
