"""Processors that are kept awake."""
import os
import unittest

from quor_bench import awake


class Processors(unittest.TestCase):
    def test_have_something_to_do_that_takes_nothing_from_others(self):
        with awake.processors() as pids:
            self.assertEqual([os.sched_getaffinity(pid) for pid in pids], [{one} for one in sorted(os.sched_getaffinity(0))])
            self.assertEqual({os.sched_getscheduler(pid) for pid in pids}, {os.SCHED_IDLE})

    def test_may_sleep_again_afterwards(self):
        with self.assertRaises(KeyError), awake.processors() as pids:
            raise KeyError
        for pid in pids:
            with self.assertRaises(ProcessLookupError):
                os.kill(pid, 0)


if __name__ == "__main__":
    unittest.main()
