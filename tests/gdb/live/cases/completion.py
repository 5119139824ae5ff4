"""Tab at a Java stop: threads by name and number, numbers of stops, classes, methods, fields, locals, and what lies behind them."""
import re

from harness import check, check_equal, gdb

EXPECTED = {
    "thread cl": ["thread clerk"],
    "thread Reference": ["thread Reference Handler"],
    "thread Reference Ha": ["thread Reference Handler"],
    "interrupt Signal D": ["interrupt Signal Dispatcher"],
    "bt thread cl": ["bt thread clerk"],
    "bt -na": ["bt -native"],
    "stop clerk java.lang.Arith": ["stop clerk java.lang.ArithmeticException"],
    "catch Arith": ["catch ArithmeticException"],
    "catch caught java.lang.Arith": ["catch caught java.lang.ArithmeticException"],
    "break -th": ["break -thread"],
    "break -thread cl": ["break -thread clerk"],
    'break -thread "Reference H': ['break -thread "Reference Handler"'],
    "break -thread clerk Shop.ser": ["break -thread clerk Shop.serve"],
    "break Shop$It": ["break Shop$Item"],
    "break Shop$Item.pr": ["break Shop$Item.price"],
    "break Shop.serve if it": ["break Shop.serve if item"],
    "break Shop.serve if item.am": ["break Shop.serve if item.amount"],
    "watch Shop.ser": ["watch Shop.served"],
    "watch Shop$Item.am": ["watch Shop$Item.amount"],
    "trace Shop$Item.pr": ["trace Shop$Item.price"],
    "delete J": ["delete J1", "delete J2"],
    "condition J": ["condition J1", "condition J2"],
    "info J1 J": ["info J1 J1", "info J1 J2"],
    "print it": ["print item"],
    "print clo": ["print closed"],
    "print item.am": ["print item.amount"],
    "print each * item.am": ["print each * item.amount"],
    "print each*item.am": ["print each*item.amount"],
    "print item.pr": ["print item.price("],
    "print item.name.len": ["print item.name.length("],
    "print Shop.clo": ["print Shop.closed"],
    "set item.am": ["set item.amount"],
    "call item.na": ["call item.name"],
    "dump -all it": ["dump -all item"],
    "class Shop$It": ["class Shop$Item"],
    "print nothing.at": [],
    "print each.": [],
}


def case(jvm):
    commands = ["java break Shop.serve", "java break Shop:1", jvm.java_run("Shop", 60000), "java continue"]
    *texts, by_number, _ = gdb(jvm, [*commands, *(f"complete java {typed}" for typed in EXPECTED), "complete java thread 1", "kill"])
    check("Shop.serve" in texts[3], f"the stop: {texts[3]}")
    for (typed, expected), text in zip(EXPECTED.items(), texts[4:]):
        check_equal(sorted(text.splitlines()), sorted(f"java {each}" for each in expected), f"complete java {typed}")
    numbers = re.findall(r"^java thread (\d+)$", by_number, re.MULTILINE)
    check(numbers and all(number.startswith("1") for number in numbers), f"threads by number: {by_number}")
