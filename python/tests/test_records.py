"""Record files in parts: the fit of the whole table."""

import json
import os
import shutil
import subprocess
from pathlib import Path

import numpy as np
import pytest

from qvreg import ArgumentError, DataError, records

ROOT = Path(__file__).resolve().parents[2]
DATA = ROOT / "examples" / "data" / "penguins.csv"
COMMAND = os.environ.get("QVREG_COMMAND") or shutil.which("qvreg")

needs_command = pytest.mark.skipif(COMMAND is None, reason="the command is not there: QVREG_COMMAND names it")


@pytest.fixture(scope="module")
def parts(tmp_path_factory):
    """The penguins in five files, of which the first has but one species."""
    folder = tmp_path_factory.mktemp("parts")
    heading, *rows = DATA.read_text().splitlines(keepends=True)
    size = -(-len(rows) // 5)
    files = []
    for number in range(5):
        files.append(folder / f"part-{number}.csv")
        files[-1].write_text(heading + "".join(rows[number * size:(number + 1) * size]))
    return files


def written(files, formula, folder, **more):
    levels = records.unite([records.spool(file, formula) for file in files])
    return [records.spool(file, formula, folder / f"{file.stem}.records", levels=levels, **more) for file in files]


def fit_of_command(formula):
    made = subprocess.run([COMMAND, "fit", "--data", str(DATA), "--formula", formula, "--json", "-"],
                          capture_output=True, text=True, check=True)
    return json.loads(made.stdout)


def assert_same(found, wanted):
    assert found["used"] == wanted["records"]["used"]
    assert found["records"] == wanted["records"]["read"]
    for key in ("label", "redundant"):
        assert [part[key] for part in found["parameters"]] == [part[key] for part in wanted["parameters"]]
    for key in ("estimate", "std_error"):
        numbers = [[np.nan if part[key] is None else part[key] for part in fit["parameters"]] for fit in (found, wanted)]
        # Sums of five parts are rounded otherwise than those of the command's.
        np.testing.assert_allclose(*numbers, rtol=1e-9, atol=1e-300)


@needs_command
@pytest.mark.parametrize("formula", [
    "body_mass ~ species*sex + flipper_length",
    "body_mass ~ species/island + I(flipper_length^2) - 1",
    "body_mass ~ beak_length:beak_depth + C(flipper_length > 200):sex",
])
def test_linear_models_are_those_of_the_command(parts, tmp_path, formula):
    found, wanted = records.fit(written(parts, formula, tmp_path)), fit_of_command(formula)
    assert_same(found, wanted)
    assert found["r_square"] == pytest.approx(wanted["fit"]["r_square"], rel=1e-12)
    assert found["residual_std_error"] == pytest.approx(wanted["fit"]["residual_std_error"], rel=1e-12)


@needs_command
@pytest.mark.parametrize("formula, reference", [("sex ~ flipper_length + island", "female"),
                                                ("island ~ body_mass + sex", "Torgersen")])
def test_logistic_models_are_those_of_the_command(parts, tmp_path, formula, reference):
    found, wanted = records.fit(written(parts, formula, tmp_path)), fit_of_command(formula)
    assert_same(found, wanted)
    assert found["reference"] == wanted["reference"] == reference
    assert [part["category"] for part in found["parameters"]] == [part["category"] for part in wanted["parameters"]]
    assert found["log_likelihood"] == pytest.approx(wanted["fit"]["loglik"], rel=1e-12)
    assert found["converged"]


@needs_command
def test_options_of_the_command_are_taken(parts, tmp_path):
    formula, where = "body_mass ~ flipper_length", ["--where", "species = 'Gentoo'"]
    found = records.fit([records.spool(file, formula, tmp_path / file.name, options=where) for file in parts])
    assert found["records"] == DATA.read_text().count("Gentoo,")


def test_levels_are_united():
    def description(**levels):
        columns = [{"name": name, "role": "factor", "kind": kind, "levels": found}
                   for name, (kind, found) in levels.items()]
        shared = dict.fromkeys(("model", "formula", "freq_weight", "regression_weight", "intercept", "effects"))
        return {**shared, "record_size": len(columns), "columns": columns}

    first = description(g=("text", ["b", "é"]), k=("number", ["2", "10"]), b=("boolean", ["yes"]), x=("number", None))
    second = description(g=("text", ["Z", "b"]), k=("number", ["9", "2.0"]), b=("boolean", ["no"]), x=("number", None))
    assert records.unite([first, second])["columns"] == [
        {"name": "g", "kind": "text", "levels": ["Z", "b", "é"]},
        {"name": "k", "kind": "number", "levels": ["2", "9", "10"]},
        {"name": "b", "kind": "boolean", "levels": ["no", "yes"]}]
    other = description(g=("number", ["1"]), k=("number", []), b=("boolean", []), x=("number", None))
    with pytest.raises(DataError, match="The levels of 'g' are number and text in different parts"):
        records.unite([first, other])


@needs_command
def test_parts_of_different_models_are_refused(parts, tmp_path):
    made = [records.spool(file, "body_mass ~ species", tmp_path / file.name) for file in parts]
    with pytest.raises(DataError, match="have other levels of a factor: give spool"):
        records.fit(made)
    with pytest.raises(DataError, match="The parts are not of one model: formula is"):
        records.fit([made[0], records.spool(parts[1], "body_mass ~ sex", tmp_path / "other")])
    with pytest.raises(ArgumentError, match="A part has no record file"):
        records.fit([records.spool(parts[0], "body_mass ~ species")])
    with pytest.raises(ArgumentError, match="There are no parts"):
        records.fit([])


@needs_command
def test_a_level_that_is_not_listed_is_refused(parts, tmp_path):
    levels = {"columns": [{"name": "species", "levels": ["Adelie"]}]}
    with pytest.raises(DataError, match="'species' has the value '(Chinstrap|Gentoo)' in row "):
        records.spool(parts[4], "body_mass ~ species", tmp_path / "records", levels=levels)
    assert not (tmp_path / "records").exists()
