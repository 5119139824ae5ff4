#!/usr/bin/env python3
"""The exports check must notice what it is there for."""
import unittest

from exports_check import differences, parse_nm

NM_OUTPUT = """\
00001130 T Agent_OnLoad
00004010 B attached
00001150 W hook_bpt
00004000 D jvmti
"""
EXPORTED = {"Agent_OnLoad": "F", "attached": "G", "hook_bpt": "F", "jvmti": "G"}


class ExportsCheck(unittest.TestCase):
    def test_symbol_types_become_kinds(self):
        self.assertEqual(EXPORTED, parse_nm(NM_OUTPUT))

    def test_equal_sets_differ_in_nothing(self):
        self.assertEqual([], list(differences(dict(EXPORTED), EXPORTED, False)))

    def test_a_missing_name_is_told_in_either_mode(self):
        wanted = {**EXPORTED, "hook_step": "F"}
        for missing_only in (False, True):
            self.assertEqual(["missing: F hook_step"], list(differences(wanted, EXPORTED, missing_only)))

    def test_an_extra_name_is_told_unless_only_missing_ones_count(self):
        wanted = {name: kind for name, kind in EXPORTED.items() if name != "attached"}
        self.assertEqual(["extra: G attached"], list(differences(wanted, EXPORTED, False)))
        self.assertEqual([], list(differences(wanted, EXPORTED, True)))

    def test_a_function_in_a_globals_place_is_told(self):
        wanted = {**EXPORTED, "attached": "F"}
        self.assertEqual(["wrong kind: attached is listed as F, exported as G"],
                         list(differences(wanted, EXPORTED, True)))


if __name__ == "__main__":
    unittest.main()
