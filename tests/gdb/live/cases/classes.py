"""java classes, class, methods, fields: what the prepared classes are and have, without loading any."""
from harness import check, check_equal, gdb

METHODS_OF_SHOP = {"public Shop()  line 2", "static int serve(Shop$Item, int)  line 26", "static void clerk()  line 32",
                   "public static void main(String[])  line 39"}


def case(jvm):
    commands = ["java classes", "java attach", "java classes ^Shop", "java class Shop$Item", "java class Item", "java class Shop.Item",
                "java class java.lang.Thread", "java class Nix", "java class", "java methods Shop", "java methods Item",
                "java fields Shop", "java fields Item", "java fields Shop$Priced", "java classes (", "java classes nothing like it",
                "complete java fields Shop", "java detach", "java classes"]
    with jvm.start_with_agent("Shop", 60000) as program:
        program.ready()
        (loaded, attached, classes, inner, simple, dotted, thread, nix, none, methods, of_item, fields, fields_of_item, no_fields,
         nonsense, nothing, completed, _, after) = gdb(jvm, commands, pid=program.pid)
    check({"Shop", "Shop$Item"} <= set(loaded.splitlines()), f"before the attach: {loaded}")
    check("all Java threads stand still" in attached, f"java attach: {attached}")
    check_equal([name for name in classes.splitlines() if "Lambda" not in name], ["Shop", "Shop$Item", "Shop$Priced"], "the classes")
    check_equal(inner.split(), "Shop$Item source Shop.java extends java.lang.Object implements Shop$Priced".split(), "an inner class")
    check_equal(simple, inner, "the same by its simple name")
    check_equal(dotted, inner, "the same with a dot")
    check("implements  java.lang.Runnable" in thread, f"a class of the JDK: {thread}")
    check_equal(nix, "no class Nix is prepared; java classes REGEX lists those that are", "a class that is not there")
    check_equal(none, "java class: which class?", "no class")
    lines = {line for line in methods.splitlines() if "lambda" not in line}
    check(METHODS_OF_SHOP <= lines, f"the methods of a class: {methods}")
    check_equal(set(of_item.splitlines()), {"Shop$Item(String, int)  line 11", "public int price(int)  line 18"}, "those of the inner one")
    check_equal(set(fields.splitlines()), {"static volatile boolean closed", "static volatile long served"}, "fields")
    check_equal(set(fields_of_item.splitlines()), {"final java.lang.String name", "int amount"}, "fields of the inner class")
    check_equal(no_fields, "No fields.", "an interface without fields")
    check("is no regular expression" in nonsense, f"a broken expression: {nonsense}")
    check_equal(nothing, "No class.", "an expression that nothing matches")
    check("java fields Shop$Item" in completed.splitlines(), f"completion: {completed}")
    check_equal(after, "java classes: there is no process: start one with run, attach to one, or load a core file", "after the detach")
