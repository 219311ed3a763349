"""Files that the command reads: the fits of the DataFrames that pandas reads of them."""

import json
import os
import shutil
import stat
import subprocess
import sys
from pathlib import Path

import numpy as np
import pandas as pd
import pytest

import qvreg
import qvreg.records

ROOT = Path(__file__).resolve().parents[2]
DATA = ROOT / "examples" / "data"

needs_command = pytest.mark.skipif(
    not os.environ.get("QVREG_COMMAND") and shutil.which("qvreg") is None,
    reason="the command is not there: QVREG_COMMAND names it")


def same(found, wanted):
    """To the last bit: the same values, coded alike, in the same order."""
    assert found.names == wanted.names
    assert np.array_equal(np.asarray(found.params), np.asarray(wanted.params))
    assert np.array_equal(np.asarray(found.cov_params()), np.asarray(wanted.cov_params()))
    assert found.nobs == wanted.nobs
    assert found.redundant == wanted.redundant
    assert found.llf == wanted.llf


@pytest.fixture(scope="module")
def written(table, tmp_path_factory):
    """A CSV file of the table, some of whose values are missing, and the DataFrame that pandas reads of it."""
    table = table.copy()
    table.loc[3, "x"] = np.nan
    table.loc[5, "a"] = None
    table.loc[7, "kind"] = None
    path = tmp_path_factory.mktemp("files") / "table.csv"
    table.to_csv(path, index=False)
    # By default pandas reads some numbers with another last bit.
    return path, pd.read_csv(path, float_precision="round_trip")


@needs_command
@pytest.mark.parametrize("formula", [
    "y ~ a + x",
    "y ~ a*b + z",
    "y ~ x - 1",
    "y ~ 1",
    "y ~ C(k) + x",
    "y ~ C(k, Treatment(3)) + flag",
    "y ~ k + C(k)",
    "y ~ I(x ** 2)",
    "y ~ np.log(positive) + I(x > 0) + C(k % 2)",
    "y ~ np.where(flag, x, z) + I(k // 2)",
    'y ~ Q("odd name") + C(flag)',
    "np.sqrt(positive) ~ center(z) + c",
])
def test_linear_models_are_those_of_the_dataframe(written, formula):
    path, frame = written
    same(qvreg.ols(formula, str(path)), qvreg.ols(formula, frame))


@needs_command
@pytest.mark.parametrize("options", [
    {"weights": "w"}, {"freq_weights": "count"}, {"weights": "w", "vcov": "hc1"}, {"base": {"a": "q"}}, {"threads": 2}])
def test_options_are_those_of_the_dataframe(written, options):
    path, frame = written
    same(qvreg.ols("y ~ a + x", path, **options), qvreg.ols("y ~ a + x", frame, **options))


@needs_command
@pytest.mark.parametrize("model, formula", [
    ("logit", "event ~ a + x"), ("logit", "flag ~ x"), ("logit", "I(z > 2) ~ a"),
    ("mnlogit", "kind ~ a + x"), ("mnlogit", "k ~ x")])
def test_models_of_classes_are_those_of_the_dataframe(written, model, formula):
    path, frame = written
    fit = getattr(qvreg, model)
    found, wanted = fit(formula, path), fit(formula, frame)
    assert list(found.classes) == list(wanted.classes)
    assert [type(value) for value in found.classes] == [type(value) for value in wanted.classes]
    assert found.reference == wanted.reference
    assert found.names == wanted.names
    assert np.array_equal(np.asarray(found.params), np.asarray(wanted.params))
    assert found.llf == wanted.llf


@needs_command
def test_an_example_of_the_documents(penguins):
    formula = "body_mass ~ species*sex + flipper_length"
    same(qvreg.ols(formula, DATA / "penguins.csv"), qvreg.ols(formula, penguins))


@needs_command
def test_several_files_are_one_table(written, tmp_path):
    _, frame = written
    frame.iloc[:150].to_csv(tmp_path / "part-0.csv", index=False)
    frame.iloc[150:].to_csv(tmp_path / "part-1.csv", index=False)
    same(qvreg.ols("y ~ a + x", tmp_path / "part-*.csv"), qvreg.ols("y ~ a + x", frame))


@needs_command
def test_nothing_is_left(written, tmp_path, monkeypatch):
    monkeypatch.setenv("TMPDIR", str(tmp_path))
    monkeypatch.setattr("tempfile.tempdir", None)
    qvreg.ols("y ~ a + x", written[0])
    with pytest.raises(qvreg.DataError):
        qvreg.ols("a ~ x", written[0])
    assert list(tmp_path.iterdir()) == []


@needs_command
def test_results_outlive_the_file(written, tmp_path):
    path, frame = written
    shutil.copy(path, tmp_path / "copy.csv")
    results = qvreg.ols("y ~ a + x", tmp_path / "copy.csv")
    os.remove(tmp_path / "copy.csv")
    assert np.array_equal(results.predict(frame), qvreg.ols("y ~ a + x", frame).predict(frame), equal_nan=True)


@needs_command
def test_missing_values_are_refused_where_that_is_asked_for(written):
    with pytest.raises(qvreg.DataError, match=r"The term 'x' has missing values \(the first in row 3"):
        qvreg.ols("y ~ x", written[0], missing="raise")


@needs_command
@pytest.mark.parametrize("content, formula, message", [
    ("y,x\n1,2\n2,3\n", "y ~ z", "There is no column 'z', and nothing else of that name"),
    ("y,x\n1,2\n2,3\n", "1 ~ 1", None),
    ("y,day\n1,2024-01-02\n2,2024-01-03\n", "y ~ day", "The column 'day' holds neither numbers nor text"),
    ("y,x\n", "y ~ x", None),
    ("y,x\n1,inf\n2,3\n", "y ~ x", "The command 'qvreg' cannot read the data: The value of 'x' in row 1 is infinite"),
])
def test_what_cannot_be_read_is_said(tmp_path, content, formula, message):
    path = tmp_path / "in.csv"
    path.write_text(content)
    with pytest.raises(qvreg.QvregError, match=message):
        qvreg.ols(formula, path)


@needs_command
def test_a_file_that_is_not_there_is_said(tmp_path):
    with pytest.raises(qvreg.DataError, match="The command 'qvreg' cannot read the data: .*absent.csv"):
        qvreg.ols("y ~ x", tmp_path / "absent.csv")


def test_without_the_command_it_is_said_what_to_do(monkeypatch, tmp_path):
    monkeypatch.delenv("QVREG_COMMAND", raising=False)
    monkeypatch.setenv("PATH", str(tmp_path))
    with pytest.raises(qvreg.DataError, match="put it on the path or into QVREG_COMMAND, or read the file yourself"):
        qvreg.ols("y ~ x", "flights.parquet")
    monkeypatch.setenv("QVREG_COMMAND", str(tmp_path / "absent"))
    with pytest.raises(qvreg.DataError, match="QVREG_COMMAND names '.*absent', which is no program"):
        qvreg.ols("y ~ x", "flights.parquet")


@pytest.mark.skipif(sys.platform == "win32", reason="a script stands for the command")
def test_an_interrupt_of_the_command_is_one_here(monkeypatch, tmp_path):
    script = tmp_path / "command"
    script.write_text("#!/bin/sh\nexit 130\n")
    script.chmod(script.stat().st_mode | stat.S_IXUSR)
    monkeypatch.setenv("QVREG_COMMAND", str(script))
    with pytest.raises(KeyboardInterrupt):
        qvreg.ols("y ~ x", "flights.parquet")


@pytest.mark.skipif(sys.platform == "win32", reason="a script stands for the command")
@pytest.mark.parametrize("text", ["#!/bin/sh\necho hello\n", "#!/bin/sh\n", "#!/bin/sh\necho '[1]'\n", "hello\n",
                                  "#!/bin/sh\necho '{\"columns\": [1]}'\n", "#!/bin/sh\necho '{\"rows\": []}'\n"])
def test_a_program_that_is_not_the_command(monkeypatch, tmp_path, text):
    script = tmp_path / "command"
    script.write_text(text)
    script.chmod(script.stat().st_mode | stat.S_IXUSR)
    for variable, source in (("QVREG_COMMAND", ", which QVREG_COMMAND names,"), ("PATH", "")):
        monkeypatch.delenv("QVREG_COMMAND", raising=False)
        script = script.rename(tmp_path / ("qvreg" if variable == "PATH" else "command"))
        monkeypatch.setenv(variable, str(tmp_path if variable == "PATH" else script))
        for call in (lambda: qvreg.ols("y ~ x", "flights.parquet"),
                     lambda: qvreg.records.spool("flights.parquet", "y ~ x")):
            with pytest.raises(qvreg.DataError) as raised:
                call()
            assert str(raised.value) == (
                f"The program '{script}'{source} does not answer as the command 'qvreg' of this version does: give "
                "QVREG_COMMAND the path of that command.")


@needs_command
def test_memory_holds_no_columns(tmp_path):
    """The anonymous memory of a process grows by far less than the columns take."""
    rng = np.random.default_rng(3)
    n = 400_000
    path = tmp_path / "long.csv"
    frame = pd.DataFrame({"y": rng.normal(size=n), "g": rng.integers(0, 5, n), "h": rng.choice(["u", "v"], n)})
    for number in range(6):
        frame[f"x{number}"] = rng.integers(0, 1000, n)
    frame.to_csv(path, index=False)
    formula = "y ~ C(g) + h + " + " + ".join(f"x{number}" for number in range(6))
    script = ("import json, sys, pandas, patsy, qvreg\n"
              "def anonymous():\n"
              "    lines = open('/proc/self/status').read().splitlines()\n"
              "    return next(int(line.split()[1]) for line in lines if line.startswith('RssAnon'))\n"
              "qvreg.ols('y ~ x', {'y': [1.0, 2.0, 4.0], 'x': [1.0, 2.0, 3.0]})\n"
              "before = anonymous()\n"
              "results = qvreg.ols(sys.argv[1], sys.argv[2], threads=1)\n"
              "print(json.dumps([anonymous() - before, results.nobs]))\n")
    made = subprocess.run([sys.executable, "-c", script, formula, str(path)], capture_output=True, text=True,
                          check=True)
    kilobytes, nobs = json.loads(made.stdout)
    assert nobs == n
    assert kilobytes < 10_000  # the nine columns take 29 MB
