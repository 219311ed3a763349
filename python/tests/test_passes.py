"""Passes over records in parts: requests and answers as bytes."""

import numpy as np
import pytest
import qvreg
from qvreg import _passes as passes
from qvreg._columns import Column
from qvreg._design import Design, Part, Term, Variable
from qvreg._fit import Layout, Options, fit
from qvreg._records import Records

DESIGN = Design([Variable("x"), Variable("z")], [Term((Part(0),)), Term((Part(1),))])


def values_of(n, seed=3):
    rng = np.random.default_rng(seed)
    x, z = rng.normal(size=(2, n))
    return np.column_stack([x, z, (x + rng.logistic(size=n) > 0).astype(float)])


def records_of(values):
    return Records([Column(name, np.ascontiguousarray(values[:, place])) for place, name in enumerate("xzy")])


def fit_of(records, categories=2):
    return fit(DESIGN, records, Layout(2), Options(n_categories=categories))


def digits(made):
    return made.estimates.tobytes(), made.covariance.tobytes()


@pytest.mark.parametrize("categories", [None, 2])
def test_one_part_gives_the_bits_of_a_fit_without_parts(categories):
    records = records_of(values_of(500))
    assert digits(fit_of(passes.PartsHere([records]), categories)) == digits(fit_of(records, categories))


@pytest.mark.parametrize("categories", [None, 2])
def test_files_and_arrays_are_parts_alike(tmp_path, categories):
    values = values_of(700)
    slices = [values[:100], values[100:100], values[100:450], values[450:690], values[690:]]
    files = []
    for number, part in enumerate(slices):
        path = tmp_path / f"{number}.records"
        part.tofile(path)
        files.append(passes.RecordFile(path, 3))
    here = fit_of(passes.PartsHere([records_of(part) for part in slices]), categories)
    assert digits(fit_of(passes.PartsHere(files), categories)) == digits(here)
    whole = fit_of(records_of(values), categories)
    assert np.allclose(here.estimates, whole.estimates, rtol=1e-10) and here.counts.used == whole.counts.used == 700


def test_neighbours_are_joined_along_one_tree():
    seen = []

    def join(first, second, level, pair):
        seen.append((level, pair))
        return f"({first}{second})"

    assert passes.along_tree(list("abcdefg"), join) == "(((ab)(cd))((ef)g))"
    assert seen == [(1, 0), (1, 1), (1, 2), (2, 0), (2, 1), (3, 0)]
    assert passes.along_tree(["a"], join) == "a"


def test_infinite_values_of_a_part_are_named():
    values = values_of(50)
    values[7, 1] = np.inf
    with pytest.raises(qvreg.DataError, match=r"^Z is infinite in row 7 \(counted from 0\)\."):
        fit_of(passes.PartsHere([records_of(values_of(50)), records_of(values)]))


def test_what_is_no_request_is_refused():
    with pytest.raises(qvreg.LibraryError):
        passes.answer(b"no request", 0, records_of(values_of(10)))
    with pytest.raises(qvreg.LibraryError):
        passes.merge(b"no request", b"", b"")


def test_a_file_that_is_not_there(tmp_path):
    with pytest.raises(qvreg.LibraryError, match="nowhere.records"):
        fit_of(passes.PartsHere([passes.RecordFile(tmp_path / "nowhere.records", 3)]))
