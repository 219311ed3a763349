"""Tests of the comparison, of the reading of documents, and of one whole document that is wrong."""

import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import comparison
import pages
import run
import sessions


class Comparison(unittest.TestCase):
    def same(self, expected, printed, units=0):
        return comparison.difference(expected.splitlines(), printed.splitlines(), units) is None

    def test_equal_lines_agree_whatever_blanks_stand_around_them(self):
        self.assertTrue(self.same("\n  x  1.25 \ny\n\n", "  x  1.25\ny"))
        self.assertFalse(self.same("x  1.25", " x  1.25"))

    def test_a_changed_digit_is_told(self):
        self.assertFalse(self.same("x  1.26", "x  1.25"))
        self.assertFalse(self.same("333 used", "334 used"))

    def test_sessions_may_differ_by_a_unit_of_the_last_digit(self):
        self.assertTrue(self.same("x  1.26  p 1.8e-05", "x  1.25  p 1.9e-05", 1))
        self.assertFalse(self.same("x  1.27", "x  1.25", 1))
        self.assertFalse(self.same("x  1.2", "x  1.25", 1))
        self.assertFalse(self.same("333 used", "334 used", 1))
        self.assertFalse(self.same("version 2", "version 3", 1))

    def test_doubles_in_full_agree_to_12_digits(self):
        self.assertTrue(self.same("3809.727436385964", "3809.727436385971"))
        self.assertFalse(self.same("3809.727436385964", "3809.727436485964"))

    def test_a_missing_or_further_line_is_told(self):
        self.assertFalse(self.same("a\nb\nc", "a\nc"))
        self.assertFalse(self.same("a\nc", "a\nb\nc"))
        self.assertFalse(self.same("", "a"))

    def test_durations_and_memory_are_masked_and_other_numbers_are_not(self):
        self.assertTrue(self.same("took 0.31 s, 70 MB, 7 rows", "took 12.5 s, 83 MB, 7 rows"))
        self.assertFalse(self.same("took 0.31 s, 7 rows", "took 0.31 s, 8 rows"))
        self.assertFalse(self.same("2 sales", "3 sales"))

    def test_an_ellipsis_stands_for_lines(self):
        self.assertTrue(self.same("a\n…\nd", "a\nb\nc\nd"))
        self.assertTrue(self.same("[...]\nd\n[...]", "a\nd\ne"))
        self.assertFalse(self.same("a\n…\nd", "a\nb\nc"))
        self.assertFalse(self.same("a\n…\nb\n…\nd", "a\nc\nd"))

    def test_a_name_with_digits_is_no_number(self):
        self.assertFalse(self.same("x1.5 = 2", "x1.6 = 2", 1))

    def test_the_diff_shows_both_sides(self):
        found = "\n".join(comparison.difference(["x  1.26"], ["x  1.25"]))
        self.assertIn("-x  1.26", found)
        self.assertIn("+x  1.25", found)


class Pages(unittest.TestCase):
    def test_commands_go_on_behind_a_backslash_and_through_a_here_document(self):
        block = pages.Block("console", 5, ["$ a \\", "  b", "out", "$ cat <<'END'", "$ x", "END", "more"])
        one, other = pages.commands_of(block)
        self.assertEqual(one.text, "a \\\n  b")
        self.assertEqual(one.output, ["out"])
        self.assertEqual((other.line, other.text, other.output), (8, "cat <<'END'\n$ x\nEND", ["more"]))

    def test_fences_without_language_and_indented_blocks_are_told(self):
        page = pages.read_page("p", ["```", "x", "```", "", "    $ y"])
        self.assertEqual([line for line, _ in page.problems], [1, 5])

    def test_links_are_found_outside_of_code(self):
        page = pages.read_page("p", ["# A `b` c", "[`x`](one.md), `[n](two.md)`, [y](#a-b-c)"])
        self.assertEqual([target for _, target in page.links], ["one.md", "#a-b-c"])
        self.assertIn("a-b-c", page.anchors)


class WholeDocument(unittest.TestCase):
    """A document is run with a stand-in for the command."""

    def failures(self, text):
        return self.run_text(text).failures

    def run_text(self, text):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "page.md"
            path.write_text(text, encoding="utf-8")
            return run.Run(str(path), Path(sys.executable), []).run()

    def test_what_is_right_passes(self):
        self.assertEqual(self.failures("# A\n\n[a](#a)\n\n```console\n$ echo 1.5\n1.5\n$ (exit 3)\n$ echo $?\n3\n```\n"
                                       "\n```python\nx = 2\n```\n```python\nprint(x)\n```\n```text\n2\n```\n"), [])

    def test_a_wrong_output_is_told_with_its_place(self):
        found = self.failures("```console\n$ echo 1.5\n1.6\n```\n")
        self.assertEqual(len(found), 1)
        self.assertIn("page.md:2: $ echo 1.5", found[0])
        self.assertIn("-1.6", found[0])

    def test_a_wrong_exit_code_is_told(self):
        self.assertIn("exit code 3", self.failures("```console\n$ (exit 3)\n```\n")[0])
        self.assertEqual(len(self.failures("```console\n$ (exit 3)\n$ echo $?\n2\n```\n")), 1)

    def test_a_session_that_ends_is_told(self):
        self.assertIn("ZeroDivisionError", self.failures("```python\n1 / 0\n```\n")[0])

    def test_an_output_of_an_ellipsis_alone_is_told(self):
        self.assertIn("ellipsis alone", self.failures("```console\n$ echo 1\n…\n```\n")[0])

    def test_a_block_that_nothing_runs_needs_a_reason(self):
        self.assertEqual(len(self.failures("```cmake\nx()\n```\n")), 1)
        self.assertEqual(self.failures("<!-- not run: a fragment -->\n```cmake\nx()\n```\n"), [])

    def test_commands_that_show_no_output_must_succeed(self):
        self.assertEqual(self.failures("```sh\necho 1\ntrue\n```\n"), [])
        self.assertEqual(len(self.failures("```sh\nfalse\ntrue\n```\n")), 1)
        self.assertEqual(len(self.failures("<!-- run: false -->\n")), 1)

    def test_what_a_machine_lacks_is_skipped_and_counted_with_what_rests_on_it(self):
        with mock.patch.dict(sessions.OPTIONAL, python=("none_such",)):
            found = self.run_text("```python\nimport none_such\n```\n```python\nprint(1)\n```\n")
        self.assertEqual(found.failures, [])
        self.assertEqual(len(found.skipped), 2)
        self.assertEqual(found.counts["sessions"], 0)

    def test_another_module_that_is_missing_is_told(self):
        self.assertIn("none_such", self.failures("```python\nimport none_such\n```\n")[0])

    def test_a_link_to_nowhere_is_told(self):
        self.assertEqual(len(self.failures("[a](none.md) [b](#c)\n")), 2)


if __name__ == "__main__":
    unittest.main()
