"""Progress, and runs that end early."""

import _thread
import signal
import sys
import threading
import time

import numpy as np
import pytest
import qvreg


@pytest.fixture(scope="module")
def long_run():
    """A fit that takes seconds on one thread."""
    rng = np.random.default_rng(1)
    n = 400_000
    data = {f"x{j}": rng.normal(size=n) for j in range(20)}
    data["y"] = rng.integers(0, 5, n)
    return "y ~ " + " + ".join(f"x{j}" for j in range(20)), data


def test_a_callback_sees_every_iteration(table):
    seen = []
    results = qvreg.logit("event ~ a*x", table, progress=lambda *state: seen.append(state))
    assert [iteration for iteration, _ in seen][-1] == results.iterations
    assert seen[-1][1] == pytest.approx(results.llf)
    assert threading.current_thread() is threading.main_thread()


def test_a_callback_runs_on_the_thread_that_called(table):
    threads = set()
    qvreg.logit("event ~ x", table, progress=lambda *_: threads.add(threading.current_thread()))
    assert threads == {threading.current_thread()}


def test_an_exception_of_a_callback_ends_the_fit(table):
    calls = []

    def fail(iteration, _):
        calls.append(iteration)
        raise ZeroDivisionError("of the callback")

    with pytest.raises(ZeroDivisionError, match="of the callback"):
        qvreg.logit("event ~ a*x", table, progress=fail)
    assert len(calls) == 1


def test_true_shows_a_bar(table, capsys):
    results = qvreg.logit("event ~ x", table, progress=True)
    shown = capsys.readouterr().err
    assert f"qvreg: {results.iterations} iterations" in shown and "log-likelihood -" in shown


def test_a_linear_model_shows_no_bar(table, capsys):
    qvreg.ols("y ~ x", table, progress=True)
    assert capsys.readouterr().err == ""


def test_true_prints_lines_without_tqdm(table, capsys, monkeypatch):
    monkeypatch.setitem(sys.modules, "tqdm.auto", None)
    results = qvreg.logit("event ~ x", table, progress=True)
    assert f"qvreg: iteration {results.iterations}, log-likelihood -" in capsys.readouterr().err


def test_ctrl_c_ends_a_run(long_run):
    formula, data = long_run
    seen = []

    def interrupt_soon(iteration, _):
        if not seen:
            threading.Timer(0.02, _thread.interrupt_main, (signal.SIGINT,)).start()
        seen.append(iteration)

    with pytest.raises(KeyboardInterrupt):
        qvreg.mnlogit(formula, data, threads=1, progress=interrupt_soon)
    assert seen and "qvreg" not in {thread.name for thread in threading.enumerate()}
    assert qvreg.mnlogit(formula, data, max_iterations=20).iterations > max(seen)


def test_other_threads_go_on_during_a_run(long_run):
    formula, data = long_run
    ticks, done = [], threading.Event()

    def tick():
        while not done.is_set():
            ticks.append(time.monotonic())
            time.sleep(0.01)

    ticker = threading.Thread(target=tick)
    ticker.start()
    first = []

    def stop_at_the_second(iteration, _):
        first.append(len(ticks))
        if len(first) > 1:
            raise InterruptedError

    with pytest.raises(InterruptedError):
        qvreg.mnlogit(formula, data, threads=1, progress=stop_at_the_second)
    done.set()
    ticker.join()
    assert first[1] > first[0]


def test_any_number_of_threads_gives_the_same_bits(long_run):
    formula, data = long_run
    results = [qvreg.ols(formula, data, threads=threads) for threads in (1, 2, 3, None)]
    for other in results[1:]:
        assert (other.params == results[0].params).all() and (other.bse == results[0].bse).all()
        assert (other.predict(data) == results[0].predict(data)).all()
