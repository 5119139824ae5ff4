"""What gdb calls by itself never shows a traceback: an error of ours is one line, once, and gdb goes on by itself."""
import contextlib
import os
import sys
import unittest

import gdb

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import harness  # noqa: E402

harness.source()
from quor.hotspot import framefilter, posthooks, unwinder  # noqa: E402
from quor.hotspot import vm as vms  # noqa: E402


class BrokenVm:
    """Fails wherever it is asked, in a way that nobody expects."""
    code_cache = True

    def __getattr__(self, name):
        raise IndexError(f"no {name}")


@contextlib.contextmanager
def broken_vm():
    kept = vms.known, vms.current
    vms.known = vms.current = BrokenVm
    try:
        yield
    finally:
        vms.known, vms.current = kept


@contextlib.contextmanager
def written():
    """What is written through gdb.write meanwhile."""
    lines, kept = [], gdb.write
    gdb.write = lambda text, *_: lines.append(text)
    try:
        yield lines
    finally:
        gdb.write = kept


class Boundary(unittest.TestCase):
    def test_the_unwinder_leaves_the_frame_to_gdb(self):
        with broken_vm(), written() as lines:
            results = [unwinder.JavaUnwinder()(None) for _ in range(3)]
        self.assertEqual([None] * 3, results)
        self.assertEqual(1, len(lines))
        self.assertRegex(lines[0], r"^quor: a Java frame is not shown: (IndexError|AttributeError): .* \(.*\)\n$")

    def test_the_filter_hands_the_frame_on(self):
        class Frame:
            def inferior_frame(self):
                return self

            def pc(self):
                return 0

        frame = Frame()
        with broken_vm(), written() as lines:
            self.assertEqual([frame, frame], list(framefilter.JavaFilter().filter([frame, frame])))
        self.assertEqual(1, len(lines))

    def test_the_hooks_behind_commands_say_nothing_more(self):
        with broken_vm(), written() as lines:
            posthooks.show()
            posthooks.show()
        self.assertLessEqual(len(lines), 1)
        self.assertNotIn("Traceback", "".join(lines))


harness.run(Boundary)
