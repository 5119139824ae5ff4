"""The debug information that is written for a library without any, as readelf reads it."""
import os
import re
import subprocess
import tempfile
import unittest

from quor import dwarf

TABLE = {
    "types": [["base", "int", 4, "signed"], ["typedef", "jint", 0], ["base", "char", 1, "signed char"], ["array", 2, 1024],
              ["struct", "class_info", 2060, [["clazz", 5, 0], ["signature", 3, 4], ["flag", 0, 33, 1]]], ["pointer", 6],
              ["declared", "_jobject"], ["enum", None, 4, [["LOW", -3], ["HIGH", 300]]], ["function", 1, [5, 0]],
              ["function", None, []], ["union", None, 8, [["j", 0, 0]]], ["pointer", None]],
    "variables": {"at_work": [0, False], "prep_list": [4, True], "absent": [0, True]},
    "constants": {"KIND": [1, 40]},
    "functions": {"agent_ask": 8, "agent_tell": 9, "agent_absent": 9},
}
ADDRESSES = {"at_work": 0x1234, "prep_list": 0x5678, "agent_ask": 0x9abc, "agent_tell": 0xdef0}


def dumped(word_size):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "records.so")
        with open(path, "wb") as file:
            file.write(dwarf.debug_file(TABLE, word_size, ADDRESSES.get, 0x1000))
        done = subprocess.run(["readelf", "--wide", "--debug-dump=info", path], capture_output=True, text=True, check=True)
    forms = r"\((string|[us]?data\d?|ref4|addr|exprloc|flag_present)\) "  # newer ones tell them
    return re.sub(forms, "", done.stdout), done.stderr


class DwarfTest(unittest.TestCase):
    def both(self):
        for word_size in (4, 8):
            text, complaints = dumped(word_size)
            self.assertEqual("", complaints)
            yield word_size, text

    def test_every_reference_leads_to_the_type_meant(self):
        for _, text in self.both():
            begin = text.split("DW_TAG_base_type")[0].rpartition("<1><")[2].partition(">")[0]
            self.assertRegex(text, rf"DW_AT_name +: jint\s+<\w+> +DW_AT_type +: <0x{begin}>")

    def test_records_have_their_fields_at_their_offsets(self):
        for _, text in self.both():
            self.assertRegex(text, r"DW_AT_name +: class_info\s+<\w+> +DW_AT_byte_size +: 2060")
            self.assertRegex(text, r"DW_AT_name +: signature\s+<\w+> +DW_AT_type .*\s+<\w+> +DW_AT_data_member_location: 4")
            self.assertRegex(text, r"DW_AT_name +: flag\s.*\s.*DW_AT_bit_size +: 1\s.*DW_AT_data_bit_offset: 33")
            self.assertRegex(text, r"DW_AT_upper_bound +: 1023")
            self.assertRegex(text, r"DW_AT_name +: _jobject\s.*DW_AT_declaration")

    def test_enumerators_have_their_values(self):
        for _, text in self.both():
            self.assertRegex(text, r"DW_AT_name +: LOW\s.*DW_AT_const_value +: -3")
            self.assertRegex(text, r"DW_AT_name +: HIGH\s.*DW_AT_const_value +: 300")
            self.assertRegex(text, r"DW_AT_name +: KIND\s.*\s.*DW_AT_const_value +: 40")

    def test_variables_and_functions_lie_where_they_are(self):
        for _, text in self.both():
            self.assertRegex(text, r"DW_AT_name +: prep_list\s.*\s.*DW_AT_external.*\s.*\(DW_OP_addr: 5678\)")
            self.assertRegex(text, r"DW_AT_name +: at_work\s.*\s.*\(DW_OP_addr: 1234\)")
            self.assertRegex(text, r"DW_AT_name +: agent_ask\s.*\s.*\s.*\s.*DW_AT_low_pc +: 0x9abc")
            self.assertRegex(text, r"DW_AT_name +: agent_tell\s.*DW_AT_external.*\s.*\s.*DW_AT_low_pc +: 0xdef0")

    def test_what_has_no_address_is_left_out(self):
        for _, text in self.both():
            self.assertNotIn("absent", text)

    def test_pointers_are_as_wide_as_the_process(self):
        for word_size, text in self.both():
            self.assertRegex(text, rf"\(DW_TAG_pointer_type\)\s.*DW_AT_byte_size +: {word_size}\s")


if __name__ == "__main__":
    unittest.main()
