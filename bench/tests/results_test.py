"""The file of figures."""
import tempfile
import unittest
from pathlib import Path
from types import SimpleNamespace

from quor_bench import results
from quor_bench.table import Table

JVM = SimpleNamespace(name="64-bit 17", version="17.0.1")


def table(name, value):
    return Table(name, name, "ms", "program", {"empty": {"plain": [value]}})


class File(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = Path(folder.name) / "new" / "figures.json"

    def test_gives_back_what_was_stored(self):
        gathered = results.new({"cpu": "some"}, "i386")
        results.add(gathered, JVM, [table("start", 1)])
        results.store(self.file, gathered)
        self.assertEqual(results.load(self.file), gathered)

    def test_that_is_not_there_is_none(self):
        self.assertIsNone(results.load(self.file))


class Gathering(unittest.TestCase):
    def test_replaces_figures_of_the_same_name_and_keeps_others(self):
        gathered = results.new({}, "i386")
        results.add(gathered, JVM, [table("start", 1), table("stops", 2)])
        results.add(gathered, JVM, [table("start", 3)])
        values = {name: results.tables([gathered], name)[0][1].rows["empty"]["plain"] for name in ("start", "stops")}
        self.assertEqual(values, {"start": [3], "stops": [2]})

    def test_finds_a_table_of_every_jvm_that_has_it(self):
        first, second = results.new({}, "i386"), results.new({}, "x86-64")
        results.add(first, SimpleNamespace(name="32-bit 17", version=""), [table("start", 1)])
        results.add(second, JVM, [table("start", 2), table("stops", 2)])
        self.assertEqual([name for name, _ in results.tables([first, second], "start")], ["32-bit 17", "64-bit 17"])
        self.assertEqual([name for name, _ in results.tables([first, second], "stops")], ["64-bit 17"])


if __name__ == "__main__":
    unittest.main()
