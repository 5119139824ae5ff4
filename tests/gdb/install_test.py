"""script/install-gdb: one line in gdb's start-up file, once; its removal puts the file back."""
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "script" / "install-gdb"
OWN = "set history size 100\n"


class InstallGdb(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        self.file = self.home / ".gdbinit"

    def script(self, *arguments):
        environment = {"PATH": os.environ["PATH"], "HOME": str(self.home)}
        return subprocess.run([SCRIPT, *arguments], env=environment, capture_output=True, text=True, timeout=30)

    def gdb_says(self, command):
        run = subprocess.run(["gdb", "-q", "--batch", "-ex", command], cwd=self.home, capture_output=True, text=True, timeout=30,
                             env={"PATH": os.environ["PATH"], "HOME": str(self.home), "PYTHONDONTWRITEBYTECODE": "1"})
        return run.stdout + run.stderr

    def test_gdb_knows_the_commands_afterwards_and_not_before(self):
        self.assertIn('Undefined command: "java"', self.gdb_says("help java status"))
        self.assertEqual(0, self.script().returncode)
        self.assertIn("Usage: java status", self.gdb_says("help java status"))

    def test_saying_it_twice_writes_one_line(self):
        self.file.write_text(OWN)
        self.script()
        self.script()
        self.assertTrue(self.file.read_text().startswith(OWN + "source "))
        self.assertEqual(2, len(self.file.read_text().splitlines()))

    def test_removal_puts_the_users_file_back(self):
        self.file.write_text(OWN)
        self.script()
        self.assertEqual(0, self.script("--remove").returncode)
        self.assertEqual(OWN, self.file.read_text())

    def test_removal_leaves_no_file_where_none_was(self):
        self.script()
        self.script("--remove")
        self.script("--remove")
        self.assertFalse(self.file.exists())

    def test_the_file_in_the_configurations_folder_is_taken_when_it_is_there(self):
        configured = self.home / ".config" / "gdb" / "gdbinit"
        configured.parent.mkdir(parents=True)
        configured.write_text(OWN)
        self.script()
        self.assertIn("quor.py", configured.read_text())
        self.assertFalse(self.file.exists())

    def test_an_unknown_option_is_told_in_one_line(self):
        run = self.script("--frobnicate")
        self.assertEqual((1, "install-gdb: usage: script/install-gdb [--remove]\n"), (run.returncode, run.stderr))


if __name__ == "__main__":
    unittest.main()
