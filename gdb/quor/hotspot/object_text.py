"""Objects read from memory as texts: what quor.show asks, answered by a Heap. Needs no gdb."""
from quor import show
from quor.hotspot.memory import Unreadable

_MAX_NAME = 1 << 10


class HeapReader(show.ObjectReader):
    """The objects of one Heap, each by its address, which is also what tells it from others."""

    def __init__(self, heap):
        self._heap = heap

    def class_name(self, obj):
        name = self._heap.class_name(self._heap.klass(obj))
        if not 0 < len(name) < _MAX_NAME or not name.isprintable():
            raise Unreadable(obj)
        return name

    def label(self, obj):
        return f"{obj:x}"

    def string(self, obj, limit):
        return self._heap.string(obj, limit)

    def array_length(self, obj):
        return self._heap.array_length(obj)

    def elements(self, obj, descriptor, limit):
        return self._heap.elements(obj, descriptor, limit)

    def fields(self, obj, limit):
        fields = self._heap.instance_fields(obj)
        return [(field.name, field.signature, self._heap.value(obj + field.offset, field.signature))
                for field in fields[:limit]], len(fields)

    def unreadable(self, obj):
        return f"<not readable at {obj:#x}>"


def of(heap, limits=show.USUAL):
    """The texts of a Heap's objects."""
    return show.ObjectText(HeapReader(heap), limits)
