"""fit_over_mpi gives the estimates of one machine, the same on any number of ranks.

Usage: mpi.py MPIEXEC PROGRAM PROJECT
"""

import array
import csv
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

MPIEXEC, PROGRAM, PROJECT = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
ORIGINS = ["Europe", "Japan", "USA"]
PARTS = 5


def records(table, columns, code=float):
    """The rows without missing values as flat lists; `code` is for the last column."""
    with open(PROJECT / table, newline="") as file:
        for row in csv.DictReader(file):
            cells = [row[column] for column in columns]
            if all(cells):
                yield [*map(float, cells[:-1]), code(cells[-1])]


class FitOverMpi(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def parts(self, rows):
        """Record files with the rows in turn, one of them empty."""
        rows = list(rows)
        for part in range(PARTS):
            with open(os.path.join(self.folder, f"part{part}"), "wb") as file:
                for row in rows[part::PARTS - 1] if part < PARTS - 1 else []:
                    array.array("d", row).tofile(file)
        return [f"part{part}" for part in range(PARTS)]

    def run_on(self, ranks, *arguments):
        return subprocess.run(
            [MPIEXEC, "-n", str(ranks), "--oversubscribe", PROGRAM, *map(str, arguments)],
            cwd=self.folder, capture_output=True, text=True, timeout=120,
            env={**os.environ, "OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1"})

    def estimates(self, ranks, *arguments):
        done = self.run_on(ranks, *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done)
        return done.stdout

    def assert_same_on_any_ranks(self, expected, delta, *arguments):
        whole = self.estimates(1, *arguments)
        for found, wanted in zip(whole.split(), expected, strict=True):
            self.assertLessEqual(abs(float(found) - wanted), delta * abs(wanted))
        for ranks in (2, 3, PARTS + 1):
            self.assertEqual(self.estimates(ranks, *arguments), whole)

    def test_linear(self):
        case = json.loads((PROJECT / "tests/reference/linear/longley.json").read_text())
        names = [*(next(iter(term["covariates"])) for term in case["terms"]), case["dependent"]]
        files = self.parts(records("tests/reference/linear/longley.csv", names))
        self.assert_same_on_any_ranks(case["estimates"], 1e-7, 0, len(names), *files)

    def test_logistic(self):
        files = self.parts(records("examples/data/cars.csv",
                                   ["displacement", "horsepower", "origin"], ORIGINS.index))
        # Those of fit_from_cursor, to the digits that it prints.
        printed = (PROJECT / "tests/examples/expected/fit_from_cursor.txt").read_text().split("\n")
        expected = [float(line.split()[2]) for line in printed if line.startswith(tuple(ORIGINS))]
        self.assertEqual(len(expected), 6)
        self.assert_same_on_any_ranks(expected, 1e-3, 3, 3, *files)

    def test_a_missing_file_ends_all_ranks(self):
        files = self.parts([[1.0, 2.0], [2.0, 3.0], [3.0, 5.0]])
        done = self.run_on(3, 0, 2, *files, "absent")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("fit_over_mpi: cannot open absent\n", done.stderr)

    def test_a_file_that_is_cut_off_ends_all_ranks(self):
        files = self.parts([[1.0, 2.0], [2.0, 3.0], [3.0, 5.0]])
        os.truncate(os.path.join(self.folder, files[1]), 12)
        done = self.run_on(2, 0, 2, *files)
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("fit_over_mpi: cannot read part1\n", done.stderr)

    def test_what_is_no_number_of_categories_is_refused(self):
        for categories in (1, -3):
            done = self.run_on(2, categories, 2, *self.parts([[1.0, 2.0]]))
            self.assertNotEqual(done.returncode, 0)
            self.assertIn("CATEGORIES is neither 0 nor a number from 2 on", done.stderr)

    def test_how_it_is_used_is_told(self):
        done = self.run_on(1, 0, 2)
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("usage: fit_over_mpi CATEGORIES RECORD_SIZE FILE...", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
