"""Writes the tables that libjvm exports into an Image, with rows of a test's choice."""


def _columns(image, entry, names):
    """Exports where each column lies, and gives the offsets and the rows' distance."""
    offsets = {name: index * 8 for index, name in enumerate(names)}
    for name, offset in offsets.items():
        image.put_symbol(f"{entry}{name}Offset", offset)
    image.put_symbol(f"{entry}ArrayStride", len(names) * 8)
    return offsets, len(names) * 8


def _table(image, array, entry, names, rows):
    """`rows`: a list of {column: (kind, value)}; kind is string, word, int or u64."""
    offsets, stride = _columns(image, entry, names)
    start = image.take(stride * (len(rows) + 1))
    for index, row in enumerate(rows):
        for name, (kind, value) in row.items():
            if kind == "string":
                kind, value = "word", image.put_string(value) if value is not None else 0
            getattr(image, f"put_{kind}")(start + index * stride + offsets[name], value)
    image.put_symbol(array, start, image.word_size)


def export_tables(image, fields=(), statics=(), sizes=(), ints=(), longs=()):
    """fields: ("Type::field", offset); statics: ("Type::field", address); sizes: (type, size); constants: (name, value)."""
    rows = []
    for name, offset in fields:
        owner, _, field = name.rpartition("::")
        rows.append({"TypeName": ("string", owner), "FieldName": ("string", field), "TypeString": ("string", "int"),
                     "IsStatic": ("int", 0), "Offset": ("u64", offset), "Address": ("word", 0)})
    for name, address in statics:
        owner, _, field = name.rpartition("::")
        rows.append({"TypeName": ("string", owner), "FieldName": ("string", field), "TypeString": ("string", "address"),
                     "IsStatic": ("int", 1), "Offset": ("u64", 0), "Address": ("word", address)})
    _table(image, "gHotSpotVMStructs", "gHotSpotVMStructEntry",
           ("TypeName", "FieldName", "TypeString", "IsStatic", "Offset", "Address"), rows)
    _table(image, "gHotSpotVMTypes", "gHotSpotVMTypeEntry", ("TypeName", "SuperclassName", "Size"),
           [{"TypeName": ("string", name), "SuperclassName": ("string", None), "Size": ("u64", size)} for name, size in sizes])
    for kind, number, constants in (("Int", "int", ints), ("Long", "u64", longs)):
        _table(image, f"gHotSpotVM{kind}Constants", f"gHotSpotVM{kind}ConstantEntry", ("Name", "Value"),
               [{"Name": ("string", name), "Value": (number, value)} for name, value in constants])
