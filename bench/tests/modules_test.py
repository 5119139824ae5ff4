"""What is read from Google Benchmark's output."""
import json
import unittest

from quor_bench.pieces import modules


def run(name, **further):
    return {"name": name, "cpu_time": 1500, "real_time": 3000, "time_unit": "ns", **further}


def rows(*runs):
    return modules.rows_of(json.dumps({"benchmarks": list(runs)}))


class Output(unittest.TestCase):
    def test_gives_processor_time_in_microseconds(self):
        self.assertEqual(rows(run("TMap_tid2tm/10")), {"TMap_tid2tm/10": {"ours": [1.5]}})

    def test_gives_the_clocks_time_of_what_threads_do_together(self):
        self.assertEqual(rows(run("event/real_time", time_unit="us")), {"event": {"ours": [3000]}})

    def test_keeps_each_repetition_and_no_count_of_iterations_in_the_name(self):
        found = rows(run("URef_find/10/iterations:30"), run("URef_find/10/iterations:30", cpu_time=500))
        self.assertEqual(found, {"URef_find/10": {"ours": [1.5, 0.5]}})

    def test_gives_what_was_measured_and_not_what_was_made_of_it(self):
        found = rows(run("URef_find/10", run_type="iteration"), run("URef_find/10_mean", run_type="aggregate"))
        self.assertEqual(found, {"URef_find/10": {"ours": [1.5]}})

    def test_of_a_benchmark_that_failed_is_an_error(self):
        with self.assertRaisesRegex(ValueError, "no such thread"):
            rows(run("x", error_occurred=True, error_message="no such thread"))


if __name__ == "__main__":
    unittest.main()
