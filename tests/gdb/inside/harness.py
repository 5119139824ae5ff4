"""Runs a test file's cases inside gdb and ends gdb with their result."""
import os
import unittest

import gdb


def source():
    gdb.execute(f"source {os.environ['QUOR_GDB']}")


def run(*cases):
    loader = unittest.defaultTestLoader
    suite = unittest.TestSuite(loader.loadTestsFromTestCase(case) for case in cases)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    gdb.execute(f"quit {0 if result.wasSuccessful() and result.testsRun else 1}")
