"""Fits on a Dask cluster, of processes that all stay."""

import _thread
import doctest
import logging
import re
import subprocess
import sys
import threading

import numpy as np
import pandas as pd
import patsy
import pytest
import qvreg
from clusters import QUIET, dask, digest, distributed, fit_here, partitions_of, task_names, wait_until, within
from conftest import ROOT
from qvreg._checks import Response
from qvreg._formula import Formula
from qvreg._model import Model, Weights
from qvreg._tables import Tables
from qvreg.sklearn import LinearRegression, LogisticRegression
from sklearn.base import clone

import cloudpickle  # isort: skip
import dask.array as da  # isort: skip
import dask.dataframe as dd  # isort: skip
import qvreg.dask  # isort: skip
from qvreg import _dask_parts  # isort: skip
from qvreg._dask_cluster import Tasks  # isort: skip
from tornado.iostream import IOStream  # isort: skip

wait = Tasks._wait


@pytest.fixture(scope="module")
def client(tmp_path_factory):
    folder = tmp_path_factory.mktemp("dask")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=2, processes=True, local_directory=str(folder),
                                  **QUIET) as cluster, distributed.Client(cluster) as client:
        yield client


@pytest.fixture(autouse=True)
def bounded():
    with within(60):
        yield


@pytest.fixture()
def frame(table):
    return dd.from_pandas(table, npartitions=5)


def of_frames(*frames):
    """A Dask DataFrame whose partitions are `frames`, as they are."""
    return dd.from_delayed([dask.delayed(frame) for frame in frames], meta=frames[0].iloc[:0], verify_meta=False)


def sentence(*arguments, model="ols", **options):
    with pytest.raises(qvreg.QvregError) as raised:
        getattr(qvreg.dask, model)(*arguments, **options)
    return str(raised.value)


MODELS = [
    ("ols", "y ~ a*x + c", {}),
    ("ols", "y ~ a + C(k, Treatment(3)) - 1", {"weights": "w", "freq_weights": "count", "vcov": "hc1"}),
    ("ols", "y ~ a + b - 1", {}),
    ("logit", "event ~ a*x", {"base": {"a": "q"}}),
    ("mnlogit", 'kind ~ a + Q("odd name") + flag', {"vcov": "hc0", "reference": "mid"}),
]


@pytest.mark.parametrize("kind, formula, options", MODELS)
def test_partitions_give_the_bits_of_the_same_parts_on_one_machine(client, table, frame, kind, formula, options):
    got = getattr(qvreg.dask, kind)(formula, frame, client, **options)
    here = fit_here(kind, formula, partitions_of(frame), **options)
    assert list(got.params.index) == list(here.params.index)
    assert got.params.to_numpy().tobytes() == here.params.to_numpy().tobytes()
    assert np.allclose(got.bse, here.bse, rtol=1e-13, atol=0.0)  # sums of hc are added part by part
    if "vcov" not in options:
        assert digest(got) == digest(here)
    whole = getattr(qvreg, kind)(formula, table, **options)
    assert np.allclose(got.params, whole.params, rtol=1e-9) and got.llf == pytest.approx(whole.llf, rel=1e-12)


@pytest.mark.parametrize("kind, formula", [("ols", "y ~ a*x"), ("logit", "event ~ a*x")])
def test_one_partition_gives_the_bits_of_a_fit_without_cluster(client, table, kind, formula):
    got = getattr(qvreg.dask, kind)(formula, dd.from_pandas(table, npartitions=1), client)
    assert digest(got) == digest(getattr(qvreg, kind)(formula, table))


def test_any_number_of_workers_gives_the_same_bits(client, frame):
    first = next(iter(client.scheduler_info()["workers"]))
    with dask.annotate(workers=[first], allow_other_workers=False):
        one = digest(qvreg.dask.logit("event ~ a*x", frame, client))
    assert one == digest(qvreg.dask.logit("event ~ a*x", frame, client))


def test_no_record_reaches_the_coordinator(client, monkeypatch, caplog):
    n, parts = 200_000, 4

    def make(number):
        rng = np.random.default_rng(number)
        x = rng.normal(size=(n // parts, 4))
        return pd.DataFrame(x, columns=list("abcd")).assign(y=x.sum(axis=1) + rng.normal(size=len(x)))

    frame = dd.from_delayed([dask.delayed(make)(number) for number in range(parts)], meta=make(0).iloc[:0])
    gathered, received = [], []
    gather, read = distributed.Client._gather, IOStream.read_from_fd

    async def gathering(self, *arguments, **options):
        got = await gather(self, *arguments, **options)
        gathered.extend(got if isinstance(got, list) else [got])
        return got

    def reading(self, buffer):
        count = read(self, buffer)
        received.append(count or 0)
        return count

    monkeypatch.setattr(distributed.Client, "_gather", gathering)
    monkeypatch.setattr(IOStream, "read_from_fd", reading)
    with caplog.at_level(logging.INFO, "qvreg.dask"):
        results = qvreg.dask.ols("y ~ a + b + c + d", frame, client)
    assert results.nobs == n
    answers = [record.args[3] for record in caplog.records]
    assert [len(got) for got in gathered if isinstance(got, bytes)] == answers and len(answers) == 3
    # The scheduler and the client are both in this process: all that either has read.
    assert sum(answers) < sum(received) < 0.03 * n * 5 * 8


def test_tasks_have_names_of_their_own_fit(client, frame, monkeypatch):
    seen = []
    monkeypatch.setattr(Tasks, "_wait", lambda tasks, future: (wait(tasks, future), seen.append(task_names(client))))
    qvreg.dask.ols("y ~ x", frame, client)
    pattern = r"qvreg-(columns|levels|records|tables-pass-1|products-pass-2|estimates-pass-\d)-.*-[0-9a-f]{12}"
    names = {name for names in seen for name in names}
    assert all(re.fullmatch(pattern, name) for name in names) and len({name[-12:] for name in names}) == 1
    assert any(name.startswith("qvreg-estimates-pass-3-part-0004-") for name in names)
    wait_until(lambda: not task_names(client))


def test_two_fits_at_once_do_not_mix(client, frame):
    formulas = ["event ~ a*x", "event ~ b + z", "event ~ a*x"]
    expected = [digest(qvreg.dask.logit(formula, frame, client)) for formula in formulas]
    got = [None] * 3

    def run(place):
        got[place] = digest(qvreg.dask.logit(formulas[place], frame, client))

    threads = [threading.Thread(target=run, args=(place,)) for place in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert got == expected


def test_levels_are_those_of_all_partitions(client, table):
    ordered = table.sort_values("a", ascending=False)
    parts = [ordered.iloc[:100], ordered.iloc[100:]]
    got = qvreg.dask.ols("y ~ a + c", of_frames(*parts), client)
    assert digest(got) == digest(fit_here("ols", "y ~ a + c", parts))
    assert list(got.params.index) == list(qvreg.ols("y ~ a + c", table).params.index)


def test_levels_of_two_types_with_one_name(client, table):
    parts = of_frames(table.iloc[:200].astype({"k": object}), table.iloc[200:].assign(k=table.k[200:].map(str)))
    first = int(table.k.min())
    assert sentence("y ~ C(k)", parts, client) == (
        f"The term 'C(k)' has the level {first} as int and '{first}' as str, which have one name. Give all values one "
        "type.")


def test_categories_that_are_not_known(client, table):
    whole = table.assign(a=table.a.astype("category"))
    frame = dd.from_pandas(whole, npartitions=3)
    got = qvreg.dask.ols("y ~ a + c", frame.assign(a=frame.a.cat.as_unknown()), client)
    assert list(got.params.index) == list(qvreg.ols("y ~ a + c", whole).params.index)
    # Each partition has the levels that occur in it, in an order of its own.
    parts = [part.assign(a=pd.Categorical(part.a, sorted(part.a.unique(), reverse=True)))
             for part in (table[table.a != "p"], table[table.a != "r"])]
    got = qvreg.dask.ols("y ~ a", of_frames(*parts), client)
    assert list(got.params.index) == ["Intercept", "a[T.q]", "a[T.r]"]
    assert np.allclose(got.params, qvreg.ols("y ~ a", pd.concat(parts)).params, rtol=1e-10)


def test_partitions_without_records(client, table):
    parts = [table.iloc[:0], table.iloc[:150], table.iloc[150:150], table.iloc[150:].assign(a=None),
             table.iloc[150:], table.iloc[:0]]
    got = qvreg.dask.logit("event ~ a*x", of_frames(*parts), client)
    assert digest(got) == digest(fit_here("logit", "event ~ a*x", parts)) and got.nobs == 400


def test_partitions_without_any_record(client, table):
    for empty in (of_frames(table.iloc[:0]), of_frames(table.iloc[:0], table.iloc[:0])):
        assert sentence("y ~ x", empty, client) == "The data have no rows."
        assert sentence("event ~ a", empty, client, model="logit") == "The data have no rows."


def test_workers_without_partitions(client, table):
    assert len(client.scheduler_info()["workers"]) == 2
    assert qvreg.dask.ols("y ~ x", dd.from_pandas(table, npartitions=1), client).nobs == 400


def test_names_of_the_caller(client, table, frame):
    base = 2.0

    def shifted(x):
        return x - base

    got = qvreg.dask.ols("y ~ shifted(x) + np.sqrt(positive)", frame, client)
    expected = qvreg.ols("y ~ shifted(x) + np.sqrt(positive)", table)
    assert np.allclose(got.params, expected.params, rtol=1e-10)


def test_predictions_of_partitions(client, table, frame):
    results = qvreg.dask.logit("event ~ a*x", frame, client)
    predicted = frame.map_partitions(results.predict, meta=("event", float)).compute()
    assert np.array_equal(predicted, results.predict(table))


def test_exceptions_tell_the_partition(client, table):
    parts = [table.iloc[begin:begin + 100] for begin in range(0, 400, 100)]
    holes = [*parts[:2], parts[2].assign(x=[np.inf] + [0.0] * 99), parts[3]]
    assert sentence("y ~ x", of_frames(*holes), client).startswith(
        "Partition 2: The term 'x' is infinite in row 0 (counted from 0).")
    texts = [*parts[:3], parts[3].assign(z="many")]
    assert sentence("y ~ z", of_frames(*texts), client) == (
        "The term 'z' is a number in some partitions and a category in others. Read its column with one type.")
    without = [parts[0], parts[1].drop(columns="z"), *parts[2:]]
    assert sentence("y ~ x + z", of_frames(*without), client).startswith(
        "Partition 1: A task on the cluster has failed with KeyError")
    missing = [*parts[:3], parts[3].assign(x=np.nan)]
    assert sentence("y ~ x", of_frames(*missing), client, missing="raise").startswith(
        "Partition 3: The term 'x' has missing values (the first in row 0, counted from 0)")
    shifts = of_frames(*parts)
    assert re.fullmatch(r"Partition [0-3]: The term 'x.shift\(1\)' takes its values from other rows, too, and a "
                        r"partition has only some of them. Make a column of it before the fit.",
                        sentence("y ~ x.shift(1)", shifts, client))
    negative = [*parts[:3], parts[3].assign(w=-1.0)]
    assert sentence("y ~ x", of_frames(*negative), client, weights="w") == (
        "Partition 3: The argument weights has negative values: weights are 0 or more.")


def test_a_level_that_was_not_there_before(table):
    """A partition that is made again after its worker was lost, and has changed."""
    formula = Formula("y ~ a", patsy.EvalEnvironment([{}]))
    formula.learn(formula.study(Tables.whole(table), Response("y", has_classes=False)), {})
    model = Model.of("ols", formula, None, Weights())
    plan = _dask_parts._Plan("ols", "y ~ a", {}, Weights(), formula.learned(), formula.states(), None, model.layout)
    with pytest.raises(qvreg.DataError) as raised:
        _dask_parts._records(7, table.assign(a="new"), cloudpickle.dumps(plan))
    assert str(raised.value) == ("Partition 7: The term 'a' has the value 'new', which is none of its 3 levels "
                                 "('p', 'q', 'r').")


def test_what_is_refused(client, table, frame):
    assert sentence("y ~ center(x)", frame, client) == (
        "The term 'center(x)' remembers something of the data, which the workers of a cluster do not share. Make a "
        "column of it before the fit.")
    assert sentence("y ~ nothing", frame, client).startswith("There is no column 'nothing', and nothing else of that")
    assert sentence("y ~ x", table, client) == (
        "A Dask DataFrame is needed, not DataFrame. dask.dataframe.from_pandas makes one of a DataFrame; qvreg.ols and "
        "its like take that as it is.")
    assert sentence("y ~ x", frame, client, weights=[1.0]) == (
        "weights of partitions is the name of one of their columns.")
    assert sentence("y ~ x", frame, client, weights="nothing") == "weights='nothing' names no column of the data."
    assert sentence("y ~ x", frame, client, threads=2).startswith("There is no option 'threads'. Choose among weights")
    assert sentence("y ~ x", frame, client, timeout=0) == "timeout=0: a number of seconds above 0 is needed."
    assert sentence("y ~ x", frame, "127.0.0.1:8786") == (
        "client='127.0.0.1:8786': a distributed.Client is needed.")
    assert sentence("kind ~ x", frame, client, model="logit").endswith(
        "has 3 classes, and logit takes two: use mnlogit.")


def test_an_interrupt_cancels_the_tasks(client, frame):
    def slow(x):
        import time

        time.sleep(0.7)
        return x

    threading.Timer(1.5, _thread.interrupt_main).start()
    with pytest.raises(KeyboardInterrupt):
        qvreg.dask.ols("y ~ slow(x)", frame.repartition(npartitions=40), client)
    wait_until(lambda: not task_names(client))
    assert qvreg.dask.ols("y ~ x", frame, client).nobs == 400


def test_an_exception_of_a_callback_ends_the_fit(client, frame):
    def fail(*_state):
        raise ZeroDivisionError("of the callback")

    with pytest.raises(ZeroDivisionError, match="of the callback"):
        qvreg.dask.logit("event ~ x", frame, client, progress=fail)
    wait_until(lambda: not task_names(client))


def test_a_reference_whose_rows_are_left_out(client, table):
    holes = dd.from_pandas(table.assign(x=table.x.mask(table.kind == "mid")), npartitions=3)
    assert sentence("kind ~ x", holes, client, model="mnlogit", reference="mid") == (
        "The class 'mid' of the response 'kind' is to be the reference, and no row of it can be used. Rows are left "
        "out for missing values and for weights of 0.")


def test_without_a_client(frame):
    done = subprocess.run([sys.executable, "-c", "import qvreg.dask, pandas, dask.dataframe as dd\n"
                           "frame = dd.from_pandas(pandas.DataFrame({'y': [1.0], 'x': [2.0]}), npartitions=1)\n"
                           "qvreg.dask.ols('y ~ x', frame)"], capture_output=True, text=True, timeout=60)
    assert done.stderr.splitlines()[-1] == (
        'qvreg.errors.ArgumentError: There is no Dask client. Make one, as in client = '
        'distributed.Client("host:8786"), and give it as client=.')


def test_the_page_on_clusters(monkeypatch):
    monkeypatch.chdir(ROOT)
    failed, tried = doctest.testfile(str(ROOT / "docs" / "cluster.md"), module_relative=False, verbose=False)
    assert failed == 0 and tried > 8


@pytest.fixture()
def arrays():
    rng = np.random.default_rng(5)
    x = rng.normal(size=(600, 3)) + [0.0, 1e6, 0.0]
    y = x[:, 0] + rng.normal(size=600)
    return x, y, np.array(list("abc"))[(y > 0.3).astype(int) + (y > 1.2)], rng.random(600)


def test_estimators_of_arrays(client, arrays):
    x, y, classes, weights = arrays
    parts = [da.from_array(values, chunks=(130, 2)[:values.ndim]) for values in arrays]
    linear = qvreg.dask.LinearRegression(client=client).fit(parts[0], parts[1], parts[3])
    whole = LinearRegression().fit(x, y, weights)
    assert np.allclose(linear.coef_, whole.coef_, rtol=1e-11) and np.allclose(linear.intercept_, whole.intercept_)
    assert np.allclose(linear.predict(parts[0]).compute(), whole.predict(x), rtol=1e-11)
    assert np.array_equal(linear.predict(x), linear.predict(parts[0]).compute())
    logistic = qvreg.dask.LogisticRegression(client=client).fit(parts[0], parts[2])
    whole = LogisticRegression().fit(x, classes)
    assert list(logistic.classes_) == ["a", "b", "c"] and logistic.n_iter_ == whole.n_iter_
    assert np.allclose(logistic.coef_, whole.coef_, rtol=1e-8, atol=1e-10)
    assert np.array_equal(logistic.predict(parts[0]).compute(), logistic.predict(x))
    for method in ("predict_proba", "decision_function", "predict_log_proba"):
        lazy = getattr(logistic, method)(parts[0])
        assert lazy.shape == (600, 3) and np.array_equal(lazy.compute(), getattr(logistic, method)(x))
    wait_until(lambda: not task_names(client))


def test_estimators_of_frames(client, table):
    frame = dd.from_pandas(table, npartitions=4)
    made = qvreg.dask.LogisticRegression(client=client).fit(frame[["x", "z"]], frame.event)
    whole = LogisticRegression().fit(table[["x", "z"]], table.event)
    assert list(made.feature_names_in_) == ["x", "z"] and np.allclose(made.coef_, whole.coef_, rtol=1e-9)
    assert made.coef_.shape == (1, 2)
    assert np.array_equal(made.predict(frame[["x", "z"]]).compute(), whole.predict(table[["x", "z"]]))
    plain = qvreg.dask.LogisticRegression(tol=1e-5)
    assert clone(plain).get_params() == plain.get_params() and "n_jobs" not in plain.get_params()


def test_what_estimators_refuse(client, arrays, table):
    x, y, _, _ = arrays
    lazy, response = da.from_array(x, chunks=(200, 3)), da.from_array(y, chunks=200)

    def refused(X, y, kind=qvreg.dask.LinearRegression, weights=None):
        with pytest.raises(qvreg.QvregError) as raised:
            kind(client=client).fit(X, y, weights)
        return str(raised.value)

    assert refused(x, y) == ("X is ndarray: an array or a DataFrame of Dask is needed. The estimators of qvreg.sklearn "
                             "take what is in memory.")
    assert refused(lazy, response.rechunk(100)) == (
        "X has 3 partitions, y has 6: all need as many, of the same rows. Rechunk or repartition them.")
    assert refused(lazy, response.rechunk(((100, 300, 200),))).endswith("all need as many.")
    holes = x.copy()
    holes[250, 1] = np.nan
    assert refused(da.from_array(holes, chunks=(200, 3)), response) == "Partition 1: Input X contains NaN."
    assert refused(lazy, response * 0 + 1, qvreg.dask.LogisticRegression) == (
        "y has one class only (1.0): two are needed.")
    assert refused(lazy, response, weights=response * 0 - 1).endswith(
        "sample_weight has negative values: weights are 0 or more.")
