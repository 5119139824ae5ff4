"""What a program's output tells."""
import sys
import unittest

from quor_bench import machine
from quor_bench.jvm import Failed, figures, output_of


class Output(unittest.TestCase):
    def test_figures_are_the_lines_that_name_a_number(self):
        self.assertEqual(figures("ready\nstop.0=12\nx = 3\nlate-1=-4\nfive=5 apples\n"), {"stop.0": 12, "late-1": -4})

    def test_a_program_that_fails_gives_none_and_says_what_it_printed(self):
        with self.assertRaisesRegex(Failed, "exit status 3(.|\n)*gone"):
            output_of([sys.executable, "-c", "print('gone'); raise SystemExit(3)"])


class Machine(unittest.TestCase):
    def test_is_described_in_a_sentence(self):
        described = machine.describe()
        self.assertGreater(described["cores"], 0)
        self.assertIn(described["kernel"], machine.sentence(described))


if __name__ == "__main__":
    unittest.main()
