"""A folder with tables, models and one run of every command, whose outputs are known."""

import array
import ctypes
import hashlib
import os
import random
import re
import shutil
import sqlite3
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
TEMPORARY = re.compile(r"\.qvreg-[0-9a-f]{16}\.tmp")
OLD = b"what the file held before"
OLD_DIGEST = hashlib.sha256(OLD).hexdigest()
MOST_SECONDS = 120
# Those that take longest first, so that two at a time end together.
VERBS = ["fit-linear", "fit-logistic", "fit-encoded", "score", "spool", "describe-sqlite",
         "describe-input", "compare", "show", "sql", "record-file"]
LINEAR = "y ~ x*g + z"
LOGISTIC = "kind ~ x + g"


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


class Verb:
    """A run: its words, the files that it writes, and what stands on its standard input."""

    def __init__(self, name, words, outputs=(), stdin=None):
        self.name = name
        self.words = [str(word) for word in words]
        self.outputs = list(outputs)
        self.stdin = stdin


class Outcome:
    """What a run left."""

    def __init__(self, code, out, err, scene):
        self.code = code
        self.out = out
        self.err = err
        self.files = {path.name: digest(path) for path in scene.out.iterdir() if path.is_file()}
        self.left = [path for folder in (scene.out, scene.spool) for path in folder.iterdir()
                     if path.name not in scene.expected_names]


class Tools:
    """The programs and libraries under test."""

    def __init__(self, command, library, duckdb):
        self.command = command
        self.library = library
        self.duckdb = duckdb


class Scene:
    """Inputs in `folder`, outputs in `out`, temporary files in `spool`."""

    def __init__(self, folder, tools, rows):
        self.folder = Path(folder).resolve()
        self.tools = tools
        self.data, self.out, self.spool = (self.folder / name for name in ("data", "out", "spool"))
        for path in (self.data, self.out, self.spool):
            path.mkdir()
        self.expected_names = []
        self._make_tables(rows)
        self._make_models()
        self.verbs = self._make_verbs()
        self.inputs = self._digest_inputs()

    def _make_tables(self, rows):
        draw = random.Random(1)
        lines = ["y,x,z,g,kind"]
        records = array.array("d")
        for _ in range(rows):
            x, z, group = draw.gauss(0, 1), draw.random(), draw.choice("äbc")
            kind = "yes" if draw.random() < 0.5 + 0.1 * x else "no"
            y = 1 + 2 * x - z + draw.gauss(0, 1)
            lines.append(f"{y:.6f},{x:.6f},{z:.6f},{group},{kind}")
            records.extend((y, x, z))
        text = "\n".join(lines) + "\n"
        (self.data / "table.csv").write_text(text, encoding="utf-8")
        (self.data / "latin.csv").write_text(text, encoding="latin-1")
        (self.data / "records.bin").write_bytes(records.tobytes())
        cells = [line.split(",") for line in lines[1:]]
        connection = sqlite3.connect(self.data / "table.sqlite")
        connection.execute("CREATE TABLE t (y REAL, x REAL, z REAL, g TEXT, kind TEXT)")
        connection.executemany("INSERT INTO t VALUES (?, ?, ?, ?, ?)", cells)
        connection.commit()
        connection.close()
        self._run_sql(f"COPY (FROM '{self.data}/table.csv') TO '{self.data}/table.parquet'",
                      f"ATTACH '{self.data}/table.duckdb' AS d",
                      f"CREATE TABLE d.t AS FROM '{self.data}/table.csv'", "DETACH d")

    def _run_sql(self, *statements):
        duckdb = ctypes.CDLL(self.tools.duckdb)
        database, connection = ctypes.c_void_p(), ctypes.c_void_p()
        assert duckdb.duckdb_open(None, ctypes.byref(database)) == 0
        assert duckdb.duckdb_connect(database, ctypes.byref(connection)) == 0
        for statement in statements:
            assert duckdb.duckdb_query(connection, statement.encode(), None) == 0, statement
        duckdb.duckdb_disconnect(ctypes.byref(connection))
        duckdb.duckdb_close(ctypes.byref(database))

    def _make_models(self):
        for name, formula in (("linear", LINEAR), ("small", "y ~ x"), ("logistic", LOGISTIC)):
            subprocess.run([self.tools.command, "fit", "-d", self.data / "table.csv", "-f", formula,
                            "-q", "--save", self.data / f"{name}.pmml"], check=True)

    def _make_verbs(self):
        data, out, q = self.data, self.out, self.tools.command
        spool = ["--spool-dir", self.spool]
        linear, logistic = data / "linear.pmml", data / "logistic.pmml"
        return [
            Verb("fit-linear", [q, "fit", "-d", data / "table.csv", "-f", LINEAR, "--json", out / "a.json",
                                "--save", out / "a.pmml", "--report", out / "a.html", "--predictions",
                                out / "a.csv", "--keep", "kind", "--diagnostics", out / "d.tsv",
                                "--vcov", "hc3", *spool],
                 ["a.json", "a.pmml", "a.html", "a.csv", "d.tsv"]),
            Verb("fit-logistic", [q, "fit", "-d", data / "table.parquet", "-f", LOGISTIC, "--json",
                                  out / "b.json", "--save", out / "b.pmml", "--report", out / "b.html",
                                  "--predictions", out / "b.parquet", "--holdout", "0.3",
                                  "--no-in-memory", *spool],
                 ["b.json", "b.pmml", "b.html", "b.parquet"]),
            Verb("fit-encoded", [q, "fit", "-d", data / "latin.csv", "--encoding", "latin-1", "-f", "y ~ g",
                                 "--json", out / "c.json", *spool], ["c.json"]),
            Verb("describe-sqlite", [q, "describe", "-d", data / "table.sqlite", "--json",
                                     out / "e.json", *spool], ["e.json"]),
            Verb("describe-input", [q, "describe", "-d", "-", "--json", out / "f.json", *spool],
                 ["f.json"], stdin=data / "table.csv"),
            Verb("score", [q, "score", "-d", data / "table.duckdb", "--table", "t", "-m", logistic, "--out",
                           out / "g.csv", "--keep", "all", "--json", out / "g.json", *spool],
                 ["g.csv", "g.json"]),
            Verb("spool", [q, "spool", "-d", data / "table.csv", "-f", LINEAR, "--out", out / "k.records", "--json",
                           out / "k.json", *spool], ["k.records", "k.json"]),
            Verb("compare", [q, "compare", data / "small.pmml", linear, "--json", out / "h.json"],
                 ["h.json"]),
            Verb("show", [q, "show", linear, "--json", out / "i.json", "--report", out / "i.html"],
                 ["i.json", "i.html"]),
            Verb("sql", [q, "sql", logistic, "--out", out / "j.sql"], ["j.sql"]),
            Verb("record-file", [sys.executable, "-B", HERE / "record_file.py", self.tools.library,
                                 data / "records.bin", 3]),
        ]

    def _digest_inputs(self):
        return {path.name: (digest(path), path.stat().st_mtime_ns) for path in self.data.iterdir()}

    def inputs_are_untouched(self):
        return self._digest_inputs() == self.inputs

    def prepare(self, verb):
        """Empties the folders but for old outputs."""
        for folder in (self.out, self.spool):
            for path in folder.iterdir():
                shutil.rmtree(path) if path.is_dir() else path.unlink()
        self.expected_names = verb.outputs
        for name in verb.outputs:
            (self.out / name).write_bytes(OLD)

    def start(self, verb, environment=None, **streams):
        # What the loader and the interpreter do is not the run's.
        streams.setdefault("stdout", subprocess.PIPE)
        stdin = open(verb.stdin, "rb") if verb.stdin else open(os.devnull, "rb")
        with stdin:
            return subprocess.Popen(verb.words, cwd="/", stdin=stdin, stderr=subprocess.PIPE,
                                    env={**os.environ, **(environment or {})}, **streams)

    def run(self, verb, environment=None):
        return self.finish(self.start(verb, environment))

    def finish(self, process):
        """What became of a run, which may have ended or not."""
        try:
            out, err = process.communicate(timeout=MOST_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            err += b"TIMEOUT"
        return Outcome(process.returncode, out, err.decode("utf-8", "replace"), self)


def temporaries(outcome):
    """What a run left; none but temporary folders may be among it."""
    return [path for path in outcome.left if TEMPORARY.fullmatch(path.name)]
