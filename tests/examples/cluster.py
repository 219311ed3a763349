"""fit_on_cluster.py gives the fit of one process over the same parts, to the last bit, on any number of workers.

Usage: cluster.py PROJECT [FLIGHTS]. QVREG_COMMAND and QVREG_LIBRARY name the command and the library. The table is that
of the flights, a Parquet file, or where there is none that of the penguins.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv[1])
FLIGHTS = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 and pathlib.Path(sys.argv[2]).is_file() else None
PARTS = 12

sys.path.insert(0, str(PROJECT / "python/src"))

from qvreg import records  # noqa: E402


def in_parts(table, any_number, rows, folder):
    """Parquet files with the rows of the table, one after the other."""
    size = -(-rows // PARTS)
    for part in range(PARTS):
        # A model of the mean alone: its predictions are a table with the columns that are kept.
        query = f"SELECT * FROM data LIMIT {size} OFFSET {part * size}"
        subprocess.run([os.environ["QVREG_COMMAND"], "fit", "--data", str(table), "--sql", query, "--formula",
                        f"{any_number} ~ 1", "--predictions", str(folder / f"part-{part:02}.parquet"), "--keep", "all",
                        "--quiet"], check=True)
    return sorted(folder.glob("*.parquet"))


def on_cluster(workers, formula, files):
    made = subprocess.run([sys.executable, str(PROJECT / "examples/fit_on_cluster.py"), "--workers", str(workers),
                           formula, *map(str, files)], capture_output=True, text=True, timeout=900,
                          env={**os.environ, "PYTHONPATH": str(PROJECT / "python/src")}, check=False)
    if made.returncode:
        raise AssertionError(made.stderr)
    return json.loads(made.stdout)


def here(formula, files, folder):
    levels = records.unite([records.spool(file, formula) for file in files])
    return records.fit([records.spool(file, formula, folder / f"{file.stem}.records", levels=levels)
                        for file in files])


class FitOnCluster(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "data").mkdir()

    def assert_same(self, formula, files):
        wanted = here(formula, files, self.folder)
        self.assertGreater(wanted["used"], 0)
        self.assertEqual(on_cluster(3, formula, files), wanted)
        self.assertEqual(sorted((self.folder / "data").iterdir()), files)

    def test_linear(self):
        if FLIGHTS:
            files = in_parts(FLIGHTS, "delay", 3_000_000, self.folder / "data")
            self.assert_same("delay ~ origin + distance", files)
        else:
            files = in_parts(PROJECT / "examples/data/penguins.csv", "body_mass", 344, self.folder / "data")
            self.assert_same("body_mass ~ species*sex + flipper_length", files)

    def test_logistic(self):
        files = in_parts(PROJECT / "examples/data/penguins.csv", "body_mass", 344, self.folder / "data")
        self.assert_same("sex ~ body_mass + island", files)

    def test_a_file_that_is_not_there_is_said(self):
        with self.assertRaisesRegex(AssertionError, "absent.parquet"):
            on_cluster(1, "y ~ x", [self.folder / "absent.parquet"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
