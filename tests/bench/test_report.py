"""How bench/report.py turns what was measured into a page."""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))

import report

CONTEXT = {"samples": "5000000", "num_cpus": 2, "mhz_per_cpu": 2000, "system": "Linux", "file_system": "tmpfs",
           "compiler": "GCC", "qt": "6.4", "date": "2026-01-01T00:00:00"}


def measured(subject, rate, check=7.0):
    return {"name": f"W1/records/day/{subject}/manual_time", "run_name": f"W1/records/day/{subject}/manual_time",
            "run_type": "iteration", "real_time": 5e9 / rate, "time_unit": "ms", "items": 5e6, "check": check}


def page_of(*benchmarks):
    """The exit code and the page."""
    with tempfile.TemporaryDirectory() as directory:
        found, page = pathlib.Path(directory, "found.json"), pathlib.Path(directory, "page.md")
        found.write_text(json.dumps({"context": CONTEXT, "benchmarks": benchmarks}))
        arguments = ["report.py", str(found), "--page", str(page), "--charts", directory]
        with mock.patch.object(sys, "argv", arguments), contextlib.redirect_stderr(io.StringIO()):
            return report.main(), page.read_text()


class Page(unittest.TestCase):
    def test_shows_a_figure_beside_the_limit_and_whether_it_is_what_was_wanted(self):
        code, page = page_of(measured("ours", 40e6), measured("limit", 100e6))
        self.assertEqual(code, 0)
        self.assertIn("| records, day | 40.0 M/s | 100 M/s | 0.40 | 30 M/s, or 0.28 of the limit | yes |", page)

    def test_takes_the_share_of_the_limit_on_a_slower_machine(self):
        self.assertIn("| yes |", page_of(measured("ours", 20e6), measured("limit", 50e6))[1])
        self.assertIn("| no |", page_of(measured("ours", 10e6), measured("limit", 50e6))[1])

    def test_fails_when_subjects_come_to_different_results(self):
        self.assertEqual(page_of(measured("ours", 40e6), measured("limit", 100e6, check=8.0))[0], 1)


if __name__ == "__main__":
    unittest.main()
