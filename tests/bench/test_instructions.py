"""How bench/instructions.py reads counts and compares them."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))

import instructions


def is_good(kept, counted):
    return instructions.compare({"W1": kept}, {"W1": counted})[1]


class Comparing(unittest.TestCase):
    def test_a_rise_of_up_to_ten_percent_passes(self):
        self.assertTrue(is_good(100.0, 109.9))

    def test_a_larger_rise_fails_and_says_so(self):
        lines, good = instructions.compare({"W1": 100.0, "R2": 10.0}, {"W1": 110.1, "R2": 10.0})
        self.assertFalse(good)
        self.assertIn("FAILED", lines[0])
        self.assertNotIn("FAILED", lines[1])

    def test_a_fall_passes_and_asks_to_be_kept(self):
        lines, good = instructions.compare({"W1": 100.0}, {"W1": 50.0})
        self.assertTrue(good)
        self.assertIn("keep it", lines[0])

    def test_a_row_that_is_not_kept_fails(self):
        self.assertFalse(instructions.compare({}, {"W1": 1.0})[1])


class Counting(unittest.TestCase):
    SUMMARY = "events: Ir\nsummary: 7\n\nfn=(1)\n0 900\n\ntotals: 3000\n"

    def test_counts_are_per_sample_of_all_rounds(self):
        rounds = {"benchmarks": [{"name": "W1", "items": 50.0, "iterations": 3}]}
        self.assertEqual(instructions.per_sample(self.SUMMARY, rounds), 20.0)

    def test_a_row_that_failed_is_an_error(self):
        rounds = {"benchmarks": [{"name": "W1", "error_occurred": True, "error_message": "full"}]}
        with self.assertRaisesRegex(RuntimeError, "full"):
            instructions.per_sample(self.SUMMARY, rounds)


if __name__ == "__main__":
    unittest.main()
