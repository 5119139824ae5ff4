"""The page of figures."""
import unittest
from types import SimpleNamespace

from quor_bench import document, results
from quor_bench.table import Table

PAGE = f"""# Figures
{document.BEGIN.format("start")}
old
{document.END}
By hand.
{document.BEGIN.format("other")}
{document.END}
"""
MACHINE = {"cpu": "Some", "cores": 2, "memory": 24, "kernel": "6.1", "system": "Debian", "load": 0.1}


def start(rows, *notes):
    return Table("start", "Start", "ms", "", rows, notes=list(notes))


def gathered():
    found = results.new(MACHINE, "x86-64")
    results.add(found, SimpleNamespace(name="64-bit 17", version="17.0.1"), [start({"all": {"ours": [12]}}, "a note")])
    return [found]


class Page(unittest.TestCase):
    def test_gets_the_tables_between_its_marks_and_keeps_the_rest(self):
        made = document.written(PAGE, gathered())
        self.assertIn("| 64-bit 17 | all | 12.0 |", made)
        self.assertIn("64-bit 17: a note.", made)
        self.assertIn("By hand.", made)
        self.assertNotIn("old", made)

    def test_made_twice_is_the_same(self):
        once = document.written(PAGE, gathered())
        self.assertEqual(document.written(once, gathered()), once)

    def test_says_what_was_not_measured(self):
        self.assertIn("Not measured.", document.written(PAGE, gathered()))

    def test_shows_the_note_of_a_table_without_rows_and_no_row(self):
        found = gathered()
        results.add(found[0], SimpleNamespace(name="32-bit 17", version=""), [start({}, "not here")])
        made = document.shown(found, "start")
        self.assertIn("32-bit 17: not here.", made)
        self.assertEqual(made.count("|---"), 3)
        self.assertNotIn("| 32-bit 17", made)

    def test_tells_of_how_many_runs_the_medians_are(self):
        found = gathered()
        results.add(found[0], SimpleNamespace(name="64-bit 25", version=""), [start({"all": {"ours": [3, 4, 5]}})])
        self.assertIn("Start, ms; median of 1 or 3:", document.shown(found, "start"))

    def test_names_the_machine_and_the_versions(self):
        self.assertEqual(document.machines(gathered()), "- `x86-64`: Some, 2 cores, 24 GB, Linux 6.1, Debian; load when the run "
                         "began: 0.1; HotSpot 17.0.1.")

    def test_without_the_marks_is_refused(self):
        with self.assertRaises(ValueError):
            document.region("nothing", "start", "x")


if __name__ == "__main__":
    unittest.main()
