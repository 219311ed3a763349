"""Columns whose values are not all of one type, and missing ones in lists."""

import numpy as np
import pandas as pd
import pytest
import qvreg
from near import assert_near
from test_bad_input import sentence

Y = [1.0, 2.0, 4.0, 3.0, 5.0, 7.0]
TEXTS = ["a", "b", None, "a", "b", "b"]


@pytest.mark.parametrize("missing", [np.nan, None, pd.NA, float("nan"), np.float64("nan")])
def test_missing_text_in_a_list_is_no_level(missing):
    texts = [missing if text is None else text for text in TEXTS]
    expected = qvreg.ols("y ~ g", pd.DataFrame({"y": Y, "g": texts}))
    for got in (qvreg.ols("y ~ g", {"y": Y, "g": texts}), qvreg.ols("y ~ g", {"y": Y, "g": tuple(texts)}),
                qvreg.fit_chunks([{"y": Y[:2], "g": texts[:2]}, {"y": Y[2:], "g": texts[2:]}], "y ~ g")):
        assert list(got.params.index) == ["Intercept", "g[T.b]"] and got.nobs == 5
        assert_near(got.params, expected.params, 1e-12)


def test_a_chunk_of_missing_text_alone():
    chunks = [{"y": Y[2:3], "g": [None]}, {"y": Y[:2] + Y[3:], "g": ["a", "b", "a", "b", "b"]}]
    assert qvreg.fit_chunks(chunks, "y ~ g").nobs == 5


@pytest.mark.parametrize("missing", [np.nan, None])
def test_missing_text_of_new_rows_has_no_prediction(missing):
    results = qvreg.ols("y ~ g", {"y": Y, "g": TEXTS})
    assert np.isnan(results.predict({"g": ["a", missing, "b"]})).tolist() == [False, True, False]
    assert np.isnan(results.predict({"g": [missing, missing]})).all()
    assert np.isnan(results.predict({"g": missing})).all()


def test_missing_classes_in_a_list():
    x = [0.0, 1.0, 2.0, 1.5, 0.5, 3.0]
    classes = ["a", "b", np.nan, "a", "b", "a"]
    results = qvreg.mnlogit("g ~ x", {"g": classes, "x": x})
    assert list(results.classes) == ["a", "b"] and results.nobs == 5


def test_none_among_numbers_is_missing():
    x = [0.0, 1, None, 2, 5, 4]
    got, expected = (qvreg.ols("y ~ x", data) for data in ({"y": Y, "x": x}, pd.DataFrame({"y": Y, "x": x})))
    assert got.nobs == 5
    assert_near(got.params, expected.params, 1e-12)
    assert np.isnan(got.predict({"x": [1.0, None]})).tolist() == [False, True]


def test_text_and_numbers_of_a_list_stay_apart():
    data = {"y": Y, "g": ["a", 1, "a", 1, 2, 2]}
    got, expected = qvreg.ols("y ~ g", data), qvreg.ols("y ~ g", pd.DataFrame(data))
    assert list(got.params.index) == list(expected.params.index)
    assert_near(got.params, expected.params, 1e-12)


@pytest.mark.parametrize("fit, expected", [
    (lambda: qvreg.ols("y ~ C(k)", pd.DataFrame({"y": Y, "k": [3, "3", 3, "3", 4, 4]})),
     "The term 'C(k)' has the level 3 as int and '3' as str, which have one name. Give all values one type."),
    (lambda: qvreg.fit_chunks([{"y": Y, "k": [1, 2, 3] * 2}, {"y": Y, "k": ["1", "2", "3"] * 2}], "y ~ C(k)"),
     "The term 'C(k)' has the level 1 as int and '1' as str, which have one name. Give all values one type."),
    (lambda: qvreg.mnlogit("k ~ y", pd.DataFrame({"y": Y, "k": [True, "True", True, "True", "b", "b"]})),
     "The response 'k' has the level True as bool and 'True' as str, which have one name. Give all values one type.")])
def test_levels_of_two_types_with_one_name(fit, expected):
    assert sentence(fit) == expected
