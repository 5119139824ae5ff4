"""Some hundred expressions, drawn by chance, as javac and the JVM have them: type and value, or what they throw, in several frames.

QUOR_JDK names the JDK, QUOR_SEED another draw, QUOR_EXPRESSIONS how many.
"""
import os
import pathlib
import random
import shutil
import struct
import subprocess
import tempfile
import unittest

from expression_generator import Generator
from java_world import FakeWorld, Object
from quor.expression.evaluator import evaluate
from quor.expression.values import BOXES, OBJECT, STRING, UNBOXED, Value
from quor.expression.world import STATIC, VARARGS, JavaException

SHORT_LIVED = ("-XX:TieredStopAtLevel=1", "-XX:+UseSerialGC", "-Xshare:auto")
TRUTH, BASE = "LTruth;", "LBase;"
SEED, COUNT = int(os.environ.get("QUOR_SEED", "1")), int(os.environ.get("QUOR_EXPRESSIONS", "400"))
MAX_INT, MAX_LONG = (1 << 31) - 1, (1 << 63) - 1

# The overloaded methods of Truth; each gives its own parameters' signature.
OVERLOADS = {"pick": ["I", "J", "D", BOXES["I"], OBJECT, STRING, "[I..."],
             "pair": ["IJ", "JD", STRING + OBJECT], "many": [f"[{OBJECT}...", f"{STRING}[{OBJECT}..."]}

# What chance would seldom make.
CHOSEN = [
    "b + s", "c + 1", "'a' + 'b'", "(char) (c + 1)", "z ? 'a' : 0", "z ? i : 'a'", "z ? b : 'a'", "z ? b : s", "z ? 1 : 2L",
    "z ? b : 200", "z ? boxed : 1", "z ? boxed : far", "z ? 1 : i / 0", "z ? 'a' : -1", "z ? mark : 1", "z ? flag : true",
    "(z ? 1 : 'a') + text", "z ? (byte) 1 : 'a'", "i / 0", "l % 0", "d / 0", "-d / 0", "0.0 / 0", "d % 0", "f % 3", "-7 / 2",
    "-7 % 2", "7 % -2", "-7.5 % 2", "i << 33", "i >>> 1", "l << 65", "b >>> 1", "(byte) b >>> 1", "1 << -1", "i << l", "-1 >>> 28",
    "-1L >>> 28", "(byte) 200", "(short) 70000", "(char) -1", "(int) 1e20", "(long) -1e30", "(int) f", "(byte) 1e20", "(char) 1e9f",
    "(int) (0.0 / 0)", "(float) l", "(double) l", "(float) 0.1", "(float) 1e300", "(long) f", "0.1f + 0.2f", "0.1f * 3",
    "0.1f == 0.1", "16777217f == 16777216", "l == (float) l", "1e-45f / 2", "i == f", "0.0 == -0.0", "0.0 / 0 == 0.0 / 0",
    "0.0 / 0 != 0.0 / 0", "text + null", "null + text", "text + c + i", "1 + 2 + text", "text + (1 + 2)", "text + 'a' + 1",
    "\"\" + -0.0", "\"\" + 1e7 + 1e-3 + 9999999.0", "\"\" + 1.0E10f + 100f", "\"\" + (char) 65 + (byte) -1", "\"\" + any",
    "\"a\" + 1 == \"a1\"", "\"a\" + i == \"a5\"", "\"a\" + \"b\" == \"ab\"", "text == \"hello\"", "text + \"\" == text",
    "(String) null + 1", "(Object) text == text", "(String) any == any", "((String) any).length()", "(int) (Integer) any",
    "(int) any", "(Integer) any + 1", "(long) boxed", "boxed + far", "boxed == 12", "12L == boxed", "-boxed", "~boxed", "!flag",
    "mark + 1", "(double) share", "boxed < share", "(Object) boxed == boxed", "pick((Object) text)", "pick((long) i)",
    "pick((byte) 1)", "pick('a')", "pick(1f)", "pick(true)", "pick(boxed)", "pick(far)", "pick(mark)", "pick(i, i)", "pick()",
    "pick(ia)", "pick(this)", "pair(boxed, boxed)", "pair('a', 'b')", "pair(1L, 1L)", "pair(1, 1f)", "pair(text, 1)",
    "pair(text, null)", "many()", "many(1)", "many(text)", "many(text, text)", "many(1, text)", "many(text, 1, 2L)",
    "many(this, any)", "ia[3]", "ia[-1]", "ia[0] + ia[9]", "grid[1][9]", "grid[2][0]", "ia['\\1']", "ia[b & 1]", "la[0] + 1",
    "names[0] + names[1]", "names[1].length()", "other.other.count", "other.count + 1 / 0", "1 / 0 + other.count",
    "other.open || 1 / 0 == 1", "z || other.open", "z && other.open", "false & 1 / 0 == 0", "((Base) this).tag + tag",
    "this.other == other", "other != this", "any instanceof Integer", "(Object) ia instanceof int[]",
    "(Object) names instanceof Object[]", "any instanceof Comparable<?>", "null instanceof String",
    "Truth.Inner.depth + Inner.depth", "Truth.total == 0", "-2147483648 - 1", "- -2147483648", "-(-9223372036854775808L)",
    "0x80000000 + 0xFFFFFFFFL", "010 + 0b11 + 0x1_0", "'\\101' + 0", "\"\\101\\7\\08\"", "'\\u0041' == 65", "1_0.5e1f", ".5 + 1.",
    "1e3 + 1d + 1f", "total + small", "~0L ^ -1", "5 & 3 | 4 ^ 1", "1 + 2 * 3 % 4 - 5", "1 < 2 == 3 > 2", "i == 0"]

# What the frames hold: Java's text and ours of each argument.
ARGUMENTS = [("byte", "b", "B"), ("short", "s", "S"), ("char", "c", "C"), ("int", "i", "I"), ("long", "l", "J"),
             ("float", "f", "F"), ("double", "d", "D"), ("boolean", "z", "Z"), ("Integer", "boxed", BOXES["I"]),
             ("Long", "far", BOXES["J"]), ("Double", "share", BOXES["D"]), ("Character", "mark", BOXES["C"]),
             ("Boolean", "flag", BOXES["Z"]), ("String", "text", STRING), ("Object", "any", OBJECT), ("int[]", "ia", "[I"),
             ("long[]", "la", "[J"), ("int[][]", "grid", "[[I"), ("String[]", "names", "[" + STRING), ("Truth", "other", TRUTH)]
FRAMES = [
    {"b": 7, "s": -300, "c": "x", "i": 5, "l": 1 << 40, "f": 0.10000000149011612, "d": 2.5, "z": True, "boxed": 12, "far": -3,
     "share": 0.5, "mark": "q", "flag": True, "text": "hello", "any": ("text", "any"), "ia": [3, -1, 4], "la": [1 << 33],
     "grid": [[1, 2], [3], None], "names": ["Ann", None], "other": True},
    {"b": -128, "s": 32767, "c": "\uffff", "i": -1 - MAX_INT, "l": -1 - MAX_LONG, "f": 3.4028234663852886e38, "d": float("-inf"),
     "z": False, "boxed": MAX_INT, "far": MAX_LONG, "share": float("nan"), "mark": "\0", "flag": False, "text": "",
     "any": ("I", 33), "ia": [MAX_INT, 0, 9, 9], "la": [-1], "grid": [[0, 0], [0], [5]], "names": ["", "é"], "other": True},
    {"b": -1, "s": 0, "c": "\0", "i": 0, "l": 0, "f": float("nan"), "d": -0.0, "z": True, "boxed": None, "far": None, "share": None,
     "mark": None, "flag": None, "text": None, "any": None, "ia": None, "la": [], "grid": [None, []], "names": None,
     "other": False}]

PROGRAM = """
class Base { String tag = "base"; }
class Truth extends Base {
    static class Inner { static int depth = 3; }
    int tag = 11, count = 7; double rate = 0.25; boolean open = true; String name = "Ann"; Truth other;
    static long total = 1L << 33; static short small = 300;
%(methods)s
    static String t(boolean v) { return "Z " + v; }
    static String t(byte v) { return "B " + v; }
    static String t(short v) { return "S " + v; }
    static String t(char v) { return "C " + (int) v; }
    static String t(int v) { return "I " + v; }
    static String t(long v) { return "J " + v; }
    static String t(float v) { return "F " + Float.floatToIntBits(v); }
    static String t(double v) { return "D " + Double.doubleToLongBits(v); }
    static String t(Object v) {
        if (v instanceof String) {
            StringBuilder units = new StringBuilder("text");
            for (char each : ((String) v).toCharArray()) units.append(' ').append((int) each);
            return units.toString();
        }
        return v == null ? "null" : v.getClass().getName();
    }
%(expressions)s
    static Object[] frame(Truth self, int number) {
        switch (number) {
%(frames)s
        }
        throw new IllegalArgumentException();
    }
    public static void main(String[] arguments) throws Exception {
        Truth self = new Truth();
        java.util.Map<String, java.lang.reflect.Method> methods = new java.util.HashMap<>();
        for (java.lang.reflect.Method each : Truth.class.getDeclaredMethods()) methods.put(each.getName(), each);
        StringBuilder text = new StringBuilder();
        for (int number = 0; methods.containsKey("e" + number); number++)
            for (int frame = 0; frame < %(count)d; frame++) {
                String result;
                try {
                    result = (String) methods.get("e" + number).invoke(self, frame(self, frame));
                } catch (java.lang.reflect.InvocationTargetException thrown) {
                    result = "throws " + thrown.getCause().getClass().getName();
                }
                text.append(result).append('\\n');
            }
        System.out.print(text);
    }
}
"""


# ---- The program in Java ----

def java_literal(java_type, value):
    """The argument as Java writes it."""
    if value is None:
        return "null"
    if java_type == "Truth":
        return "self" if value else "null"
    if java_type == "Object":
        return java_literal({"text": "String", "I": "Integer"}[value[0]], value[1])
    if java_type.endswith("[]"):
        return f"new {java_type} {{{', '.join(java_literal(java_type[:-2], each) for each in value)}}}"
    if java_type == "String":
        return f'"{value}"'
    return _java_primitive({"Integer": "int", "Long": "long", "Double": "double", "Character": "char",
                            "Boolean": "boolean"}.get(java_type, java_type), value)


def _java_primitive(java_type, value):
    if java_type == "float":
        return f"Float.intBitsToFloat({struct.unpack('<i', struct.pack('<f', value))[0]})"
    if java_type == "double":
        return f"Double.longBitsToDouble({struct.unpack('<q', struct.pack('<d', value))[0]}L)"
    if java_type == "char":
        return f"(char) {ord(value)}"
    if java_type == "boolean":
        return str(value).lower()
    return f"({java_type}) {value}L"


def program(expressions):
    parameters = ", ".join(f"{java_type} {name}" for java_type, name, _ in ARGUMENTS)
    cases = [f"        case {number}: return new Object[] {{"
             f"{', '.join(java_literal(java_type, frame[name]) for java_type, name, _ in ARGUMENTS)}}};"
             for number, frame in enumerate(FRAMES)]
    return PROGRAM % {
        "methods": "\n".join(_overload(name, parameters_) for name, several in OVERLOADS.items() for parameters_ in several),
        "expressions": "\n".join(f"    String e{number}({parameters}) {{ return t({each}); }}"
                                 for number, each in enumerate(expressions)),
        "frames": "\n".join(cases), "count": len(FRAMES)}


def _overload(name, parameters):
    types = {"I": "int", "J": "long", "D": "double", BOXES["I"]: "Integer", OBJECT: "Object", STRING: "String", "IJ": "int a, long",
             "JD": "long a, double", STRING + OBJECT: "String a, Object", "[I...": "int...", f"[{OBJECT}...": "Object...",
             f"{STRING}[{OBJECT}...": "String a, Object..."}
    return f'    static String {name}({types[parameters]} z) {{ return "({parameters.replace("...", "")})"; }}'


def answers(expressions):
    """What the program prints for each expression in each frame."""
    jdk = os.environ.get("QUOR_JDK") or pathlib.Path(shutil.which("javac")).resolve().parents[1]
    with tempfile.TemporaryDirectory() as folder:
        source = pathlib.Path(folder, "Truth.java")
        source.write_text(program(expressions), encoding="utf-8")
        compiled = subprocess.run([f"{jdk}/bin/javac", *(f"-J{each}" for each in SHORT_LIVED), "-encoding", "utf-8", "-nowarn",
                                   "-d", folder, source], capture_output=True, text=True, check=False)
        if compiled.returncode:
            raise AssertionError(f"javac refuses: {compiled.stderr[:4000]}")
        printed = subprocess.run([f"{jdk}/bin/java", *SHORT_LIVED, "-cp", folder, "Truth"],
                                 capture_output=True, text=True, check=True).stdout.splitlines()
    count = len(FRAMES)
    return [printed[start:start + count] for start in range(0, len(printed), count)]


# ---- The program in Python ----

def the_world(frame):
    """The same program, stopped in one of its methods."""
    world = FakeWorld()
    world.define("Base")
    world.define("Truth", "Base")
    world.define("Truth$Inner")
    world.field("Base", "tag", STRING)
    for name, type_ in (("tag", "I"), ("count", "I"), ("rate", "D"), ("open", "Z"), ("name", STRING), ("other", TRUTH)):
        world.field("Truth", name, type_)
    world.field("Truth", "total", "J", STATIC, 1 << 33)
    world.field("Truth", "small", "S", STATIC, 300)
    world.field("Truth$Inner", "depth", "I", STATIC, 3)
    for name, several in OVERLOADS.items():
        for parameters in several:
            signature = f"({parameters.replace('...', '')})"
            world.method("Truth", name, signature + STRING, lambda _, *arguments, signature=signature: world.string(signature),
                         STATIC | VARARGS * parameters.endswith("..."))
    self = world.new("Truth", count=7, rate=0.25, open=True, name=world.string("Ann"), other=None, tag=11)
    self.fields[BASE, "tag"] = world.string("base")
    world.current, world.this_value = TRUTH, Value(TRUTH, self)
    world.locals = {name: Value(type_, payload_of(world, self, type_, frame[name])) for _, name, type_ in ARGUMENTS}
    return world


def payload_of(world, self, type_, value):
    """An argument as the world has it."""
    if value is None or type_ == TRUTH and not value:
        return None
    if type_ == TRUTH:
        return self
    if type_ == OBJECT:
        return payload_of(world, self, {"text": STRING, "I": BOXES["I"]}[value[0]], value[1])
    if type_[0] == "[":
        return Object(type_, elements=[payload_of(world, self, type_[1:], each) for each in value])
    if type_ == STRING:
        return world.string(value)
    return world.box(UNBOXED[type_], value) if type_ in UNBOXED else value


def told(expression, world):
    """What our evaluator says, as the program prints it."""
    try:
        return printed_as(evaluate(expression, world))
    except JavaException as thrown:
        return f"throws {thrown.class_name.replace('/', '.')}"


def printed_as(value):
    if value.is_primitive:
        return f"{value.type} {_number_of(value)}"
    if value.is_null:
        return "null"
    text = value.payload if value.is_text else value.payload.text
    if text is None:
        return value.payload.type.strip("L;").replace("/", ".")
    units = text.encode("utf-16-le", "surrogatepass")
    return " ".join(["text", *(str(unit) for unit, in struct.iter_unpack("<H", units))])


def _number_of(value):
    if value.type in "FD":
        if value.payload != value.payload:
            return 0x7fc00000 if value.type == "F" else 0x7ff8000000000000
        return struct.unpack(*(("<i", struct.pack("<f", value.payload)) if value.type == "F" else
                               ("<q", struct.pack("<d", value.payload))))[0]
    return str(value.payload).lower() if value.type == "Z" else value.number


class TruthTest(unittest.TestCase):
    def test_every_expression_has_the_type_and_value_that_javac_and_the_jvm_give_it(self):
        generator = Generator(random.Random(SEED))
        expressions = CHOSEN + [generator.expression(number % 4 + 1) for number in range(COUNT)]
        all_answers, worlds = answers(expressions), [the_world(frame) for frame in FRAMES]
        self.assertEqual(len(expressions), len(all_answers))
        wrong = [f"{expression} in frame {number}: Java has {right}, we have {told(expression, worlds[number])}"
                 for expression, rights in zip(expressions, all_answers) for number, right in enumerate(rights)
                 if told(expression, worlds[number]) != right]
        self.assertEqual([], wrong, f"{len(wrong)} of {len(expressions) * len(FRAMES)} (QUOR_SEED={SEED})")
