"""The estimators keep scikit-learn's conventions and find what its own estimators find."""

import pickle

import numpy as np
import pytest
import sklearn.linear_model as peers
from near import assert_near
from scipy import sparse
from sklearn import exceptions
from sklearn.base import clone
from sklearn.datasets import load_iris
from sklearn.model_selection import GridSearchCV
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import StandardScaler
from sklearn.utils.estimator_checks import parametrize_with_checks

from qvreg.errors import ArgumentError, ConvergenceWarning, DataError, SeparationWarning
from qvreg.sklearn import LinearRegression, LogisticRegression


@pytest.mark.filterwarnings("ignore::qvreg.errors.SeparationWarning")
@pytest.mark.filterwarnings("ignore::qvreg.errors.ConvergenceWarning")
@parametrize_with_checks([LinearRegression(), LogisticRegression()])
def test_conventions(estimator, check):
    check(estimator)


@pytest.fixture
def numbers():
    rng = np.random.default_rng(3)
    X = rng.normal(size=(300, 4))
    return X, X @ [1.0, -2.0, 0.5, 0.0] + 3.0 + rng.normal(size=300), rng.random(300) + 0.2


@pytest.fixture
def flowers():
    X, y = load_iris(return_X_y=True)
    return X[:, :2], y


@pytest.mark.parametrize("fit_intercept", [True, False])
def test_linear_estimates(numbers, fit_intercept):
    X, y, weights = numbers
    got = LinearRegression(fit_intercept=fit_intercept).fit(X, y, weights)
    expected = peers.LinearRegression(fit_intercept=fit_intercept).fit(X, y, weights)
    assert_near(got.coef_, expected.coef_)
    assert_near(got.intercept_, expected.intercept_)
    assert_near(got.predict(X), expected.predict(X))


@pytest.mark.parametrize("weighted", [True, False])
def test_probabilities_of_three_classes(flowers, numbers, weighted):
    X, y = flowers
    keep = (y > 0) | (np.arange(150) % 7 == 0)
    y = np.where(np.arange(150) % 11 == 0, (y + 1) % 3, y)  # no class apart from the others
    weights = numbers[2][:150] if weighted else None
    got = LogisticRegression().fit(X[keep], y[keep], None if weights is None else weights[keep])
    expected = peers.LogisticRegression(penalty=None, solver="newton-cg", tol=1e-12, max_iter=100).fit(
        X[keep], y[keep], None if weights is None else weights[keep])
    assert_near(got.predict_proba(X), expected.predict_proba(X), 1e-6)
    assert (got.predict(X) == expected.predict(X)).all()
    assert got.coef_.shape == expected.coef_.shape


def test_two_classes_of_text(flowers):
    X, y = flowers
    names = np.array(["versicolor", "virginica"])[(y[y > 0] == 2).astype(int)]
    got = LogisticRegression().fit(X[y > 0], names)
    expected = peers.LogisticRegression(penalty=None, tol=1e-12, max_iter=10000).fit(X[y > 0], names)
    assert_near(got.coef_, expected.coef_, 1e-4)
    assert list(got.classes_) == ["versicolor", "virginica"]
    assert_near(got.predict_log_proba(X), expected.predict_log_proba(X), 1e-4)


def test_the_same_for_any_number_of_threads(numbers):
    X, y, _ = numbers
    one, two = LinearRegression(n_jobs=1).fit(X, y), LinearRegression(n_jobs=2).fit(X, y)
    assert (one.coef_ == two.coef_).all()


def test_pickles_score_to_the_same_bits(numbers, flowers):
    for estimator, (X, y) in ((LinearRegression(), numbers[:2]), (LogisticRegression(), flowers)):
        if isinstance(estimator, LogisticRegression):
            y = np.where(np.arange(150) % 11 == 0, (y + 1) % 3, y)
        fitted = estimator.fit(X, y)
        again = pickle.loads(pickle.dumps(fitted))
        assert (again.predict(X) == fitted.predict(X)).all()


def test_pipelines_grid_search_and_clone(numbers):
    X, y, _ = numbers
    search = GridSearchCV(make_pipeline(StandardScaler(), LinearRegression()),
                          {"linearregression__fit_intercept": [True, False]}, cv=3).fit(X, y)
    assert search.best_params_ == {"linearregression__fit_intercept": True}
    assert clone(LogisticRegression(tol=0.1)).get_params() == {
        "class_weight": None, "fit_intercept": True, "max_iter": 100, "n_jobs": None, "penalty": None, "tol": 0.1}


def test_float32_is_read_as_it_is(numbers):
    X, y, _ = numbers
    X32 = X.astype(np.float32)
    assert_near(LinearRegression().fit(X32, y).coef_,
                peers.LinearRegression().fit(X32.astype(float), y).coef_)


def test_columns_that_depend_on_others_are_zero(numbers):
    X, y, _ = numbers
    got = LinearRegression().fit(np.column_stack([X, X[:, 0] - X[:, 1]]), y)
    assert got.coef_[4] == 0.0
    assert_near(got.coef_[:4], peers.LinearRegression().fit(X, y).coef_)


def test_separated_classes_warn_and_keep_the_last_estimates():
    X = np.arange(10.0)[:, None]
    with pytest.warns(SeparationWarning, match=r"The columns separate the classes \(complete separation\)"):
        fitted = LogisticRegression().fit(X, X[:, 0] > 4.5)
    assert fitted.predict(X).tolist() == [False] * 5 + [True] * 5


def test_too_few_iterations_warn(flowers):
    X, y = flowers
    for kind in (ConvergenceWarning, exceptions.ConvergenceWarning):
        with pytest.warns(kind, match="did not converge in 1 iterations"):
            LogisticRegression(max_iter=1).fit(X, y % 2)


def test_a_penalty_of_none_is_none(flowers):
    X, y = flowers
    plain = LogisticRegression().fit(X, y % 2)
    for penalty in (None, "none"):
        assert (LogisticRegression(penalty=penalty).fit(X, y % 2).coef_ == plain.coef_).all()
    with pytest.raises(ArgumentError) as raised:
        LogisticRegression(penalty="l2").fit(X, y % 2)
    assert str(raised.value) == "penalty='l2': only None is possible. sklearn.linear_model has penalties."


def test_one_class_is_refused(numbers):
    X, _, _ = numbers
    with pytest.raises(DataError) as raised:
        LogisticRegression().fit(X, np.zeros(300))
    assert str(raised.value) == "y has one class only (0.0): two are needed."


@pytest.mark.parametrize("estimator, expected", [
    (LinearRegression(fit_intercept="no"), "fit_intercept='no': True or False is needed."),
    (LogisticRegression(fit_intercept=None), "fit_intercept=None: True or False is needed."),
    (LogisticRegression(tol=-1), "tol=-1: a number above 0 is needed."),
    (LogisticRegression(tol="small"), "tol='small': a number above 0 is needed."),
    (LinearRegression(n_jobs=0), "n_jobs=0: a whole number from 1 on is needed, -1 for as many threads as the machine "
                                 "has cores, -2 for one less, or None for one."),
])
def test_arguments_that_are_none(numbers, estimator, expected):
    X, y, _ = numbers
    with pytest.raises(ArgumentError) as raised:
        estimator.fit(X, y > 0 if isinstance(estimator, LogisticRegression) else y)
    assert str(raised.value) == expected and isinstance(raised.value, ValueError)


@pytest.mark.parametrize("weighted", [False, True])
@pytest.mark.parametrize("class_weight", ["balanced", {1: 3.0, 0: 0.5, 2: 1.0}, {1: 2.5}])
def test_weights_of_classes(flowers, numbers, class_weight, weighted):
    X, y = flowers
    y = np.where(np.arange(150) % 11 == 0, (y + 1) % 3, y)
    X, y, weights = X[20:], y[20:], numbers[2][20:150] if weighted else None
    got = LogisticRegression(class_weight=class_weight).fit(X, y, weights)
    expected = peers.LogisticRegression(penalty=None, solver="newton-cg", tol=1e-12, max_iter=100,
                                        class_weight=class_weight).fit(X, y, weights)
    assert_near(got.predict_proba(X), expected.predict_proba(X), 1e-6)
    assert not np.allclose(got.coef_, LogisticRegression().fit(X, y, weights).coef_, atol=1e-3)


@pytest.mark.parametrize("class_weight, expected", [
    ({0: -1.0}, "class_weight={0: -1.0}: weights from 0 on are needed."),
    ({0: 1.0, 7: 1.0}, "The classes, [1, 2], are not in class_weight"),
    ("even", "class_weight='even' is not known. Choose 'balanced', weights by class as a dict, or None."),
])
def test_weights_of_classes_that_are_none(flowers, class_weight, expected):
    with pytest.raises(ValueError) as raised:
        LogisticRegression(class_weight=class_weight).fit(*flowers)
    assert str(raised.value) == expected


def test_sparse_columns_are_refused_in_a_sentence(numbers):
    X, y, _ = numbers
    for estimator, response in ((LinearRegression(), y), (LogisticRegression(), y > 0)):
        for fit in (estimator.fit, lambda X, y: estimator.fit(X.toarray(), y).predict(X)):
            with pytest.raises(TypeError) as raised:
                fit(sparse.csr_matrix(X), response)
            assert str(raised.value) == ("A sparse matrix was passed, but dense data is required. Use X.toarray() to "
                                         "convert to a dense numpy array.")


def test_all_cores_but_some(numbers):
    X, y, _ = numbers
    expected = LinearRegression().fit(X, y).coef_
    for n_jobs in (-1, -2, -1000):
        assert (LinearRegression(n_jobs=n_jobs).fit(X, y).coef_ == expected).all()


def test_weights_below_zero_are_refused(numbers):
    X, y, weights = numbers
    with pytest.raises(ValueError, match="Negative values"):
        LinearRegression().fit(X, y, -weights)
