"""Java's names and signatures as people write them. Needs no gdb."""

_PRIMITIVE = {"B": "byte", "C": "char", "D": "double", "F": "float", "I": "int", "J": "long", "S": "short", "Z": "boolean",
              "V": "void"}


def class_name(internal):
    """java/lang/Thread as java.lang.Thread; a hidden class keeps what stands behind its name (Mix$$Lambda/0x...)."""
    name, slash, suffix = internal.partition("+")  # hidden classes: name+address
    name = name.replace("/", ".")
    return name + ("/" + suffix if slash else "")


def _one_type(signature, position):
    dimensions = 0
    while signature[position] == "[":
        dimensions += 1
        position += 1
    if signature[position] == "L":
        end = signature.index(";", position)
        name = class_name(signature[position + 1:end])
        position = end + 1
    else:
        name = _PRIMITIVE[signature[position]]
        position += 1
    return name + "[]" * dimensions, position


def parameter_types(signature):
    """The parameters' types of "(ILjava/lang/String;)V": ["int", "java.lang.String"]. ValueError when it is none."""
    try:
        if signature[0] != "(":
            raise ValueError(signature)
        types = []
        position = 1
        while signature[position] != ")":
            name, position = _one_type(signature, position)
            types.append(name)
        return types
    except (IndexError, KeyError) as error:
        raise ValueError(f"no signature of a method: {signature}") from error


def parameter_text(signature):
    """The parameters as shown between parentheses, without packages: "int, String"."""
    try:
        return ", ".join(name.rpartition(".")[2] for name in parameter_types(signature))
    except ValueError:
        return "?"
