#!/usr/bin/env python3
"""The check of the rooms must notice what it is there for."""
import unittest

from rooms_check import Symbol, breaches, parse_readelf

READELF = """\
Section Headers:
  [Nr] Name              Type            Address          Off    Size   ES Flg Lk Inf Al
  [ 4] .text             PROGBITS        0000000000000000 000080 000ca8 00  AX  0   0 16
  [ 5] .rela.text        RELA            0000000000000000 011c60 0019e0 18   I 45   4  8
  [20] .debug_info       PROGBITS        0000000000000000 000e50 001000 00      0   0  1

Relocation section '.rela.text' at offset 0x11c60 contains 1 entry:
    Offset             Info             Type               Symbol's Value  Symbol's Name + Addend
0000000000000012  0000005500000004 R_X86_64_PLT32         0000000000000000 add_event - 4

Relocation section '.rela.debug_info' at offset 0x13640 contains 1 entry:
    Offset             Info             Type               Symbol's Value  Symbol's Name + Addend
0000000000000020  0000005600000001 R_X86_64_64            0000000000000000 hook_bpt + 0

Symbol table '.symtab' contains 3 entries:
   Num:    Value          Size Type    Bind   Vis      Ndx Name
    83: 0000000000000010    32 FUNC    GLOBAL DEFAULT    4 take_event
    85: 0000000000000000     0 NOTYPE  GLOBAL DEFAULT  UND add_event
"""


def source(*symbols, uses=()):
    """An object that defines the symbols, 16 bytes each from 0 on; the first one uses those of `uses`."""
    defined = [Symbol(name, "4", 16 * at, 16, "WEAK" if name.startswith("inline") else "GLOBAL") for at, name in enumerate(symbols)]
    return defined + [Symbol(name, "UND", 0, 0, "GLOBAL") for name in uses], [("4", 8, name) for name in uses]


class RoomsCheck(unittest.TestCase):
    def test_relocations_of_code_are_read_and_those_of_debug_information_are_not(self):
        symbols, relocations = parse_readelf(READELF)
        self.assertEqual(["take_event", "add_event"], [symbol.name for symbol in symbols])
        self.assertEqual([("4", 0x12, "add_event")], relocations)

    def test_what_uses_the_rooms_before_it_is_fine(self):
        objects = {"event/queue.cpp": source("take", uses=["lock", "uref"]), "support/monitor.cpp": source("lock"),
                   "registry/uref.cpp": source("uref", uses=["lock"])}
        self.assertEqual([], breaches(objects, {}))

    def test_a_tie_to_a_later_room_is_told_with_both_symbols(self):
        objects = {"support/monitor.cpp": source("lock", uses=["take"]), "event/queue.cpp": source("other", "take")}
        self.assertEqual(["support/ comes before event/, but lock in support/monitor.cpp uses take in event/queue.cpp"],
                         breaches(objects, {}))

    def test_a_use_of_what_is_for_the_debugger_is_told(self):
        objects = {"event/dump.cpp": source("dump", uses=["err_is_wrongphase"]), "support/err_str.cpp": source("err_is_wrongphase")}
        self.assertEqual(["err_is_wrongphase is for the debugger alone, but dump in event/dump.cpp uses it"], breaches(objects, {}))

    def test_an_include_of_a_later_room_is_told(self):
        sources = {"vm/call.h": '#include <jni.h>\n  #include "load/load.h"\n', "load/load.h": ""}
        self.assertEqual(['vm/ comes before load/, but #include in vm/call.h uses "load/load.h" in load/load.h'],
                         breaches({}, sources))

    def test_a_circle_within_a_room_is_told_once_by_its_shortest_way(self):
        objects = {"event/a.cpp": source("a", uses=["b", "c"]), "event/b.cpp": source("b", uses=["c"]),
                   "event/c.cpp": source("c", uses=["a"])}
        self.assertEqual(["a circle: a in event/a.cpp uses c in event/c.cpp, and c in event/c.cpp uses a in event/a.cpp"],
                         breaches(objects, {}))

    def test_a_circle_of_includes_is_told(self):
        sources = {"event/a.h": '#include "event/b.h"', "event/b.h": '#include "event/a.h"'}
        self.assertEqual(1, len(breaches({}, sources)))

    def test_copies_of_an_inline_function_are_no_tie(self):
        objects = {"support/a.cpp": source("a", "inline_f", uses=["inline_f"]), "load/b.cpp": source("b", "inline_f")}
        self.assertEqual([], breaches(objects, {}))
        objects = {"support/a.cpp": source("a", uses=["inline_f"]), "vm/b.cpp": source("b", "inline_f"),
                   "load/c.cpp": source("c", "inline_f")}
        self.assertEqual([], breaches(objects, {}))

    def test_a_weak_function_of_one_object_alone_is_its_own(self):
        objects = {"support/a.cpp": source("a", uses=["inline_f"]), "load/b.cpp": source("b", "inline_f")}
        self.assertEqual(1, len(breaches(objects, {})))

    def test_what_an_inline_function_uses_counts_for_each_object_that_has_it(self):
        objects = {"support/a.cpp": source("inline_f", uses=["b"]), "load/b.cpp": source("b")}
        self.assertEqual(["support/ comes before load/, but inline_f in support/a.cpp uses b in load/b.cpp"],
                         breaches(objects, {}))

    def test_a_source_outside_the_rooms_is_told(self):
        self.assertEqual(["core/a.cpp is in no room: support, vm, registry, invoke, stop, event, agent_thread, java_threads, "
                          "entry, load"],
                         breaches({"core/a.cpp": source("a", uses=["b"]), "support/b.cpp": source("b")}, {}))


if __name__ == "__main__":
    unittest.main()
