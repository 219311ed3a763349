"""The reference fits: beside their exact values, statsmodels and scikit-learn."""

import numpy as np
import pytest
import qvreg
import sklearn.linear_model as peers
import statsmodels.formula.api as smf
from near import assert_near, assert_same_series
from patsy import dmatrices
from qvreg.sklearn import LinearRegression, LogisticRegression
from references import Case, names_of_cases

# Above this condition number a fit by QR or a pseudo-inverse has fewer than 8 digits.
MODERATE = 1e6


@pytest.fixture(scope="module", params=names_of_cases("linear", "r"))
def linear(request):
    case = Case(request.param)
    return case, qvreg.ols(case.formula, case.table, weights=case.weights, freq_weights=case.freq_weights)


@pytest.fixture(scope="module", params=names_of_cases("logistic/fits"))
def classes(request):
    case = Case(request.param)
    return case, qvreg.mnlogit(case.formula, case.table, weights=case.weights, freq_weights=case.freq_weights)


def product_of_weights(case, used):
    product = np.ones(len(used))
    for name in (case.weights, case.freq_weights):
        if name:
            product = product * used[name].to_numpy()
    return product


def test_exact_values_of_linear_fits(linear):
    case, results = linear
    expected = case.expected
    assert results._fit.counts.used == expected["n"]
    assert len(results.params) == expected["redundant"].count(False)
    assert results.ssr / results.nobs == pytest.approx(expected["rmse"] ** 2, rel=1e-8, abs=1e-20)
    assert results._fit.stat(1) == pytest.approx(expected["r_square"], rel=1e-8)


def test_linear_fits_beside_statsmodels(linear):
    case, results = linear
    used = case.used()
    peer = smf.wls(case.formula, used, weights=product_of_weights(case, used)).fit()
    spread = np.abs(peer.model.endog).max()
    if peer.condition_number > MODERATE and results.redundant == []:
        pytest.skip("ill-conditioned: its fits have fewer than 8 digits")
    assert_near(results.predict(used) / spread, peer.fittedvalues / spread)
    if not results.redundant:
        assert_same_series(results.params, peer.params)


def test_linear_fits_beside_scikit_learn(linear):
    case, results = linear
    used = case.used()
    y, X = dmatrices(case.formula, used)
    y, X, weights = np.ravel(y), np.asarray(X), product_of_weights(case, used)
    got = LinearRegression(fit_intercept=False).fit(X, y, weights).predict(X)
    spread = np.abs(y).max()
    assert_near(got / spread, results.predict(used) / spread, 1e-7)
    if np.linalg.cond(X) < MODERATE:
        assert_near(got / spread, peers.LinearRegression(fit_intercept=False).fit(X, y, weights).predict(X) / spread)


def test_exact_values_of_fits_of_classes(classes):
    case, results = classes
    expected = case.expected
    assert results._fit.counts.used == expected["n"]
    assert results.params.size == expected["redundant"].count(False)
    assert results.llf == pytest.approx(expected["loglik"], rel=1e-10)
    if expected["intercept"]:  # without one the reference compares with probabilities that are all equal
        assert results.prsquared == pytest.approx(expected["mcfadden"], rel=1e-8)


def test_fits_of_classes_beside_statsmodels(classes):
    case, results = classes
    used = case.used()
    numbered = used.assign(**{case.dependent: used[case.dependent].cat.codes})
    if case.weights or case.freq_weights:
        pytest.skip("MNLogit takes no weights")
    if results.redundant:
        pytest.skip("MNLogit's information matrix is singular")
    peer = smf.mnlogit(case.formula, numbered).fit(method="newton", maxiter=200, tol=1e-14, disp=False)
    assert_near(results.params, peer.params)
    assert_near(results.predict(used), peer.predict(numbered))


def test_fits_of_classes_as_an_estimator(classes):
    case, results = classes
    used = case.used()
    _, X = dmatrices(case.formula, used.assign(**{case.dependent: 0.0}))
    got = LogisticRegression(fit_intercept=False).fit(np.asarray(X), used[case.dependent].astype(str),
                                                      product_of_weights(case, used))
    order = [list(got.classes_).index(str(label)) for label in results.classes]
    assert_near(got.predict_proba(np.asarray(X))[:, order], results.predict(used), 1e-7)
