"""How run_page.py holds a page against what its commands print."""

import contextlib
import io
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

import run_page


class Page(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.page = pathlib.Path(directory.name, "page.md")
        self.page.touch()
        self.said = ""

    def run_page(self, text, *options):
        """The exit code."""
        self.page.write_text(text)
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            code = run_page.main([*options, "/bin/true", str(self.page)])
        self.said = said.getvalue()
        return code

    def test_that_says_what_its_commands_print_passes(self):
        self.assertEqual(self.run_page("```console\n$ echo a; echo b\na\nb\n\n$ echo \\\n  c |\n  cat\nc\n```\n"), 0)

    def test_that_says_something_else_fails_with_the_difference(self):
        self.assertEqual(self.run_page("```console\n$ echo a\nb\n```\n"), 1)
        self.assertIn("page.md:2", self.said)
        self.assertIn("-b\n+a", self.said)

    def test_without_commands_fails(self):
        self.assertEqual(self.run_page("```\n$ false\n```\n"), 1)

    def test_with_a_failing_command_fails_even_when_accepted(self):
        self.assertEqual(self.run_page("```console\n$ false\n```\n"), 1)
        self.assertEqual(self.run_page("```console\n$ echo b; false\na\n```\n", "--accept"), 1)
        self.assertIn("\na\n", self.page.read_text())

    def test_that_tells_the_exit_code_of_one_fence_passes(self):
        self.assertEqual(self.run_page("<!-- exit: 3 -->\n```console\n$ exit 3\n```\n```console\n$ true\n```\n"), 0)

    def test_is_mended_by_accepting(self):
        wrong = "```console\n$ echo a\nx\ny\n\n$ seq 2\n```\nend\n"
        self.assertEqual(self.run_page(wrong, "--accept"), 0)
        self.assertEqual(self.page.read_text(), "```console\n$ echo a\na\n\n$ seq 2\n1\n2\n```\nend\n")

    def test_has_standard_error_behind_standard_output(self):
        self.assertEqual(self.run_page("```console\n$ echo b >&2; echo a\na\nb\n```\n"), 0)

    def test_runs_on_a_terminal_of_fixed_width_with_a_fixed_zone(self):
        self.assertEqual(self.run_page("```console\n$ test -t 1 && stty size <&1; date +%Z\n30 100\nUTC\n```\n"), 0)

    def test_keeps_its_files_from_command_to_command(self):
        self.assertEqual(self.run_page("```console\n$ echo a >f\n$ cat f examples/data/README.md | head -1\na\n```\n"), 0)

    def test_may_set_the_clock(self):
        text = "```console\n$ date +%FT%T\n2014-02-20T09:00:00\n```\n"
        self.assertEqual(self.run_page("<!-- now: 2014-02-20T09:00:00Z -->\n" + text + text), 0)

    def test_may_leave_numbers_open_but_not_words(self):
        def page(output):
            return f"<!-- digits differ -->\n```console\n$ echo took 12.5 ms\n{output}\n```\n"

        self.assertEqual(self.run_page(page("took 3 ms")), 0)
        self.assertEqual(self.run_page(page("took 3 ms"), "--accept"), 0)
        self.assertIn("took 3 ms", self.page.read_text())
        self.assertEqual(self.run_page(page("needed 3 ms")), 1)

    def test_may_make_a_file_of_the_project(self):
        page = "<!-- file: made LICENSE -->\n```console\n$ {}\n```\n"
        name = run_page.ROOT / "LICENSE"
        self.assertEqual(self.run_page(page.format(f"cp '{name}' made")), 0)
        self.assertEqual(self.run_page(page.format("echo >made")), 1)
        self.assertIn("LICENSE: is not what the page makes", self.said)

    def test_leaves_open_how_fast_an_import_was(self):
        self.assertEqual(self.run_page("```console\n$ echo 3 new, in 0.20 s, 1.5 M samples/s\n"
                                       "3 new, in 0.00 s, 999 k samples/s\n```\n"), 0)


if __name__ == "__main__":
    unittest.main()
