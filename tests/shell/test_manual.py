#!/usr/bin/env python3
"""test_manual.py COMMAND FOLDER: the manual pages in FOLDER have all that the help of COMMAND has, are
in order for mandoc, and fit a terminal of 80 columns as man shows them."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

COMMAND, FOLDER = sys.argv.pop(1), pathlib.Path(sys.argv.pop(1))


def run(words, **environment):
    return subprocess.run(words, check=True, capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C.UTF-8", **environment}).stdout


def help_of(command):
    return run([COMMAND, *command, "--help"], COLUMNS="100")


def commands():
    listed = help_of([]).split("Commands:\n")[1].split("\n\n")[0]
    return re.findall(r"^  ([a-z]+)", listed, re.MULTILINE)


def shown(page):
    """As a terminal of 80 columns has it."""
    return run(["man", "-l", str(page)], MANWIDTH="80", MANROFFOPT="-c", MAN_KEEP_FORMATTING="",
               MANPAGER="cat", PAGER="cat")


def joined(text):
    return " ".join(text.split())


def sections(text):
    return re.findall(r"^([A-Z][A-Z ]+)$", text, re.MULTILINE)


class Pages(unittest.TestCase):
    def test_there_is_one_for_each_command(self):
        expected = {"qvreg.1"} | {f"qvreg-{command}.1" for command in commands()}
        self.assertGreater(len(expected), 7)
        self.assertEqual({page.name for page in FOLDER.iterdir()}, expected)

    @unittest.skipIf(shutil.which("mandoc") is None, "there is no mandoc")
    def test_mandoc_finds_no_fault(self):
        for page in sorted(FOLDER.iterdir()):
            found = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", str(page)],
                                   capture_output=True, text=True)
            self.assertEqual((found.stdout, found.returncode), ("", 0), page.name)


@unittest.skipIf(shutil.which("man") is None, "there is no man")
class Contents(unittest.TestCase):
    def test_every_option_stands_there_as_in_the_help(self):
        for command in commands():
            text = shown(FOLDER / f"qvreg-{command}.1")
            page = joined(text)
            entries = re.findall(r"^  ((?:-., )?--[a-z-]+)(.*)", help_of([command]), re.MULTILINE)
            self.assertTrue(entries)
            for names, _ in entries:
                self.assertRegex(text, rf"(?m)^       {names}( |$)", command)
            # What the options mean, without what the formatters add to names.
            meanings = re.findall(r"^ {30}(.*)", help_of([command]), re.MULTILINE)
            for meaning in meanings:
                self.assertIn(joined(meaning), page, command)

    def test_sections_stand_in_their_usual_order(self):
        usual = ["NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "OPTIONS", "FORMULAS", "FUNCTIONS OF ONE RECORD",
                 "EXAMPLES", "EXIT STATUS", "ENVIRONMENT", "SEE ALSO"]
        fit = sections(shown(FOLDER / "qvreg-fit.1"))
        self.assertEqual(fit, [title for title in usual if title != "COMMANDS"])
        for command in commands():
            found = sections(shown(FOLDER / f"qvreg-{command}.1"))
            self.assertLessEqual({"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "SEE ALSO"}, set(found))
        self.assertIn("COMMANDS", sections(shown(FOLDER / "qvreg.1")))

    def test_groups_are_those_of_the_help(self):
        groups = re.findall(r"^([A-Z][a-z ]+):$", help_of(["fit"]).split("Formulas:")[0], re.MULTILINE)
        found = re.findall(r"^   ([A-Z][a-z ]+)$", shown(FOLDER / "qvreg-fit.1"), re.MULTILINE)
        self.assertIn("Logistic model", groups)
        self.assertEqual(found, groups)

    def test_no_line_is_wider_than_the_terminal(self):
        for page in sorted(FOLDER.iterdir()):
            for line in shown(page).splitlines():
                self.assertLessEqual(len(line), 80, page.name)

    def test_examples_can_be_pasted(self):
        page = shown(FOLDER / "qvreg-fit.1")
        self.assertIn("\n       qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight + origin'\n", page)
        self.assertIn("\n       y ~ x + I(x^2)\n", page)
        self.assertIn("\n       y ~ `odd name`\n", page)

    def test_man_finds_what_a_page_is_about(self):
        self.assertEqual(run(["lexgrog", str(FOLDER / "qvreg-fit.1")]).split(": ", 1)[1],
                         '"qvreg-fit - fit a regression model to a table and print a summary"\n')


class Date(unittest.TestCase):
    def test_it_is_the_one_that_the_maker_of_a_package_gives(self):
        page = run([COMMAND, "man", "fit"], SOURCE_DATE_EPOCH="86400")
        self.assertIn('.TH QVREG\\-FIT 1 1970-01-02 "qvreg ', page)


if __name__ == "__main__":
    unittest.main()
