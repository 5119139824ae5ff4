"""Tables: what a reader sees of figures and goals."""
import json
import unittest

from quor_bench.table import Goal, Table, as_markdown, as_text, grid, number


def table(**further):
    rows = {"0": {"floor": [10, 12, 11], "ours": [13, 14, 15]}, "100": {"floor": [20], "ours": [90]}}
    return Table("stops", "Stops", "µs", "threads", rows, **further)


class Cells(unittest.TestCase):
    def test_show_medians(self):
        self.assertEqual(grid([("64-bit 17", table())])[1], ["64-bit 17", "0", "11.0", "14.0"])

    def test_show_three_digits_or_whole_numbers(self):
        self.assertEqual([number(value) for value in (0.123, 1.5, 15.04, 1234.5)], ["0.12", "1.50", "15.0", "1,234"])

    def test_stay_empty_where_nothing_was_measured(self):
        shown = table(goals=[Goal("ours", "floor", 1)])
        del shown.rows["0"]["floor"]
        self.assertEqual(grid([("", shown)])[1], ["", "0", "", "14.0", ""])


class Goals(unittest.TestCase):
    def last_cells(self, *goals):
        return [line[-1] for line in grid([("", table(goals=list(goals)))])[1:]]

    def test_that_are_met_stand_beside_the_ratio(self):
        self.assertEqual(self.last_cells(Goal("ours", "floor", 1.3, ["0"]))[0], "1.27 (≤ 1.3)")

    def test_that_are_missed_say_so(self):
        self.assertEqual(self.last_cells(Goal("ours", "floor", 1.1))[1], "4.50 (≤ 1.1: missed)")

    def test_that_are_missed_by_less_than_the_runs_differ_are_undecided(self):
        self.assertEqual(self.last_cells(Goal("ours", "floor", 1.2))[0], "1.27 (≤ 1.2: undecided)")
        self.assertEqual(self.last_cells(Goal("ours", "floor", 1.15))[0], "1.27 (≤ 1.15: missed)")

    def test_of_other_rows_leave_the_bare_ratio(self):
        self.assertEqual(self.last_cells(Goal("ours", "floor", 1.3, ["0"]))[1], "4.50")

    def test_without_a_base_are_about_the_figure_itself(self):
        self.assertEqual(self.last_cells(Goal("ours", "", 50)), ["14.0 (≤ 50)", "90.0 (≤ 50: missed)"])

    def test_about_what_was_measured_nowhere_have_no_column(self):
        self.assertEqual(grid([("", table(goals=[Goal("ours", "jdk", 1)]))])[0][-1], "ours")

    def test_of_one_pair_share_a_column(self):
        heading = grid([("", table(goals=[Goal("ours", "floor", 1.3, ["0"]), Goal("ours", "floor", 1.1, ["100"])]))])[0]
        self.assertEqual(heading, ["", "threads", "floor", "ours", "ours / floor"])


class Writing(unittest.TestCase):
    def test_markdown_has_as_many_columns_in_every_line(self):
        lines = as_markdown(grid([("64-bit 17", table()), ("64-bit 25", table())])).splitlines()
        self.assertEqual({line.count("|") for line in lines}, {5})
        self.assertEqual(len(lines), 6)

    def test_a_jvm_is_named_once(self):
        self.assertEqual([line[0] for line in grid([("a", table()), ("b", table())])], ["", "a", "", "b", ""])

    def test_columns_of_text_end_alike(self):
        first, *others = as_text(grid([("", table())])).splitlines()
        self.assertEqual({len(line) for line in others}, {len(first)})

    def test_json_gives_the_same_table_back(self):
        before = table(goals=[Goal("ours", "floor", 1.3, ["0"])], notes=["a note"])
        self.assertEqual(Table.from_json(json.loads(json.dumps(before.to_json()))), before)


if __name__ == "__main__":
    unittest.main()
