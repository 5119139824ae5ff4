"""java print: a program with a known state is shown as it is, from memory alone, at any stop and in a core file."""
from harness import check, check_equal, gdb

HERE = "python t = __import__('quor.thread_names').thread_names.find('main'); t.switch()"
TRUTH = {
    "derived.yes": "true", "derived.small": "-128", "derived.letter": "'ß'", "derived.middle": "-32768",
    "derived.usual": "-2147483648", "derived.id": "1099511627776", "derived.half": "0.1", "derived.whole": "1.0E100",
    "derived.numbers": "int[3] {1, 2, 3}", "derived.numbers[2] * 10": "30", "derived.numbers.length": "3",
    "derived.words[0]": 'java.lang.String[2] {"a", null}', "derived.words[1][0]": '"ö"', "derived.content": '"content"',
    "derived.nothing": "null", "derived.self == derived": "true", "derived.point.y": "4", "derived.inner.of": "-2147483647",
    "derived.inner.this$0 == derived": "true", "derived.nameless.secret": "42", "derived.colour.name": '"GREEN"',
    "derived.colour == Colour.GREEN": "true", "Values.Colour.RED.ordinal": "0", "derived.shadowed": "2", "((Base) derived).shadowed": "1",
    "derived instanceof Shape": "true", "derived.point instanceof Shape": "false", "Shape.UNITS": "12",
    "Values.GREETING": '"grüß \\"dich\\"\\n"', "GREETING.length": None, "counter": "1", "small + 1": "8", "letter": "'x'",
    "(char) (letter + 1)": "'y'", "last": "58", "wide": "9223372036854775807", "wide + 1": "-9223372036854775808", "exact * 3":
    "0.30000000000000004", "grid[1][0]": "3", "grid.length": "2", "small + derived.content": '"7content"', "derived.numbers[3]": None,
    "derived.nothing.hashCode": None, "derived.content.length()": "7", 'derived.content.equals("content")': "true",
    'GREETING.startsWith("grüß") && GREETING.contains("dich")': "true", "derived.words[1][0].equals(derived.self)": "false", "1 / (last - 58)": None,
}
ERRORS = {
    "derived.numbers[3]": "ArrayIndexOutOfBoundsException", "derived.nothing.hashCode": "null", "1 / (last - 58)": "ArithmeticException",
    "GREETING.length": "length",
}


def frame_of(text, method):
    """The number of a method's frame in a stack."""
    line = next(line for line in text.splitlines() if f".{method}(" in line)
    return int(line[1:].split()[0])


def check_truth(answers, what):
    for (expression, truth), answer in zip(TRUTH.items(), answers):
        if truth is None:
            check(ERRORS[expression] in answer and "\n" not in answer, f"{what}: {expression}: {answer}")
        else:
            check_equal(answer.partition(" = ")[2], truth, f"{what}: {expression}")


def case(jvm):
    ask = [f"java print {expression}" for expression in TRUTH]
    with jvm.start(main="Values") as program:
        program.ready()
        stack = gdb(jvm, [HERE, "java bt"], pid=program.pid)[1]
        here, many = frame_of(stack, "here"), frame_of(stack, "many")
        texts = gdb(jvm, [HERE, f"java frame {here}", *ask, "java print $j1", "java dump derived.point", "java print $j99",
                          'print $java("last * 2")', 'print $java("derived.content")', f"java frame {many}",
                          "java print a0 + a1 + a3 + a58 + a59", "java locals", "java print a60", "java print", "java call counter",
                          "gcore values.core"], pid=program.pid)
    answers, (result, dump, no_result, function, text_function, _, sixty, locals_, no_local, nothing, call, _) = \
        texts[2:2 + len(ask)], texts[2 + len(ask):]
    check_truth(answers, "live")
    check_equal(result.partition(" = ")[2], answers[0].partition(" = ")[2], "an earlier result")
    check(" {x=3, y=4}" in dump, f"java dump: {dump}")
    check_equal(no_result, "there is no result $j99", "a result that does not exist")
    check_equal((function, text_function), ("$1 = 116", '$2 = "content"'), "$java()")
    check_equal(sixty.partition(" = ")[2], "121.0", "sixty parameters, wide ones among them")
    check("  a58 = 58" in locals_ and "  a59 = 59.0" in locals_ and "  a1 = 1\n" in locals_, f"java locals: {locals_}")
    check("a60" in no_local and "\n" not in no_local, f"a local that is not there: {no_local}")
    check_equal(nothing, "java print: which expression?", "no expression")
    check("the agent is not in this process" in call, f"a call without an agent: {call}")
    texts = gdb(jvm, [HERE, f"java frame {here}", *ask, "java call counter"], core=jvm.folder / "values.core", arguments=[jvm.java])
    check_truth(texts[2:-1], "core")
    check("running process" in texts[-1], f"a call in a core file: {texts[-1]}")
