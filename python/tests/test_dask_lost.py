"""Workers of a Dask cluster that die, restart, are slow, spill, or are gone: each fit ends, with the same bits."""

import os
import signal
import threading
import time

import numpy as np
import pandas as pd
import pytest
import qvreg
from clusters import QUIET, Processes, dask, digest, distributed, task_names, wait_until, within

import dask.dataframe as dd  # isort: skip
import qvreg.dask  # isort: skip
from qvreg._dask_cluster import Tasks  # isort: skip

FORMULA = "event ~ g*x + z"
N_PARTS = 6
wait = Tasks._wait


def make(number):
    rng = np.random.default_rng(number)
    n = 20_000
    part = pd.DataFrame({"x": rng.normal(size=n), "z": rng.normal(size=n), "g": rng.choice(list("abc"), n)})
    return part.assign(event=(part.x + (part.g == "b") + rng.logistic(size=n) > 0).astype(int))


@pytest.fixture(scope="module")
def frame():
    return dd.from_delayed([dask.delayed(make)(number) for number in range(N_PARTS)], meta=make(0).iloc[:0])


@pytest.fixture(autouse=True)
def bounded():
    with within(80):
        yield


@pytest.fixture(scope="module")
def nannies(tmp_path_factory):
    """Workers that are started again when they die."""
    folder = tmp_path_factory.mktemp("nannies")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, local_directory=str(folder),
                                  **QUIET) as cluster, distributed.Client(cluster) as client:
        yield client


@pytest.fixture(scope="module")
def processes(tmp_path_factory):
    """A scheduler and workers that nobody starts again."""
    made = Processes(tmp_path_factory.mktemp("processes"), n_workers=3)
    yield made
    made.stop()


@pytest.fixture(scope="module")
def client(processes):
    with processes.client() as client:
        yield client


@pytest.fixture(scope="module")
def undisturbed(nannies, frame):
    """The digest of a fit that nothing happens to."""
    return digest(qvreg.dask.logit(FORMULA, frame, nannies))


class During:
    """Calls `strike` once, while tasks whose names begin with `kind` are being waited for."""

    def __init__(self, monkeypatch, kind, strike):
        self.count = 0

        def waiting(tasks, future):
            if future.key.startswith(kind) and self.count == 0:
                self.count += 1
                strike()
            wait(tasks, future)

        monkeypatch.setattr(Tasks, "_wait", waiting)


def worker_pids(client):
    return client.run(os.getpid)


def kill(pid):
    os.kill(pid, signal.SIGKILL)


def parts_held(client, address):
    """The parts whose records a worker holds."""
    return {key for key in client.has_what([address])[address] if "qvreg-records-part-" in key}


def times_made(client):
    """How often the records of each part of the fits so far were made."""
    def count(dask_scheduler):
        made = {}
        for key, _, finish, *_ in dask_scheduler.transition_log:
            if "qvreg-records-part-" in key and finish == "memory":
                made[key] = made.get(key, 0) + 1
        return made

    return client.run_on_scheduler(count)


def test_a_worker_that_dies_costs_its_partitions_alone(nannies, frame, undisturbed, monkeypatch):
    held = {}

    def strike():
        address, pid = next(iter(worker_pids(nannies).items()))
        held["lost"] = parts_held(nannies, address)
        kill(pid)

    before = times_made(nannies)
    struck = During(monkeypatch, "qvreg-estimates-pass-4", strike)
    assert digest(qvreg.dask.logit(FORMULA, frame, nannies)) == undisturbed and struck.count == 1
    made = {key: times for key, times in times_made(nannies).items() if key not in before}
    assert len(made) == N_PARTS and 0 < len(held["lost"]) < N_PARTS
    again = {key for key, times in made.items() if times == 2}
    # A part that a task of the other worker has taken a copy of is not lost.
    assert again and again <= held["lost"] and max(made.values()) == 2


@pytest.mark.parametrize("kind", ["qvreg-levels", "qvreg-tables-pass-1"])
def test_a_worker_that_restarts_during_the_first_passes(nannies, frame, undisturbed, monkeypatch, kind):
    nannies.wait_for_workers(2, timeout=30)

    def strike():
        pids = worker_pids(nannies)
        kill(pids[min(pids)])
        wait_until(lambda: min(pids) not in (now := nannies.scheduler_info()["workers"]) and len(now) == 2, seconds=60)

    struck = During(monkeypatch, kind, strike)
    assert digest(qvreg.dask.logit(FORMULA, frame, nannies)) == undisturbed and struck.count == 1


def test_workers_that_spill(frame, undisturbed, monkeypatch, tmp_path):
    spilled = []

    def look():
        spilled.append(client.run(lambda dask_worker: len(dask_worker.data.disk)))

    with distributed.LocalCluster(n_workers=1, threads_per_worker=1, processes=True, memory_limit="1GB",
                                  memory_target_fraction=0.001, memory_spill_fraction=False,
                                  memory_pause_fraction=False, local_directory=str(tmp_path), **QUIET) as cluster, \
            distributed.Client(cluster) as client:
        During(monkeypatch, "qvreg-estimates-pass-5", look)
        assert digest(qvreg.dask.logit(FORMULA, frame, client)) == undisturbed
    assert sum(spilled[0].values()) > 0


def test_a_worker_without_nanny_that_dies(processes, client, frame, undisturbed, monkeypatch):
    assert digest(qvreg.dask.logit(FORMULA, frame, client)) == undisturbed
    struck = During(monkeypatch, "qvreg-estimates-pass-3", processes.workers["w0"].kill)
    assert digest(qvreg.dask.logit(FORMULA, frame, client)) == undisturbed and struck.count == 1
    assert len(client.scheduler_info()["workers"]) == 2


def test_a_slow_worker(processes, client, frame, undisturbed):
    pid, done = processes.workers["w1"].pid, threading.Event()

    def drag():
        while not done.is_set():
            os.kill(pid, signal.SIGSTOP)
            time.sleep(0.15)
            os.kill(pid, signal.SIGCONT)
            time.sleep(0.03)

    dragger = threading.Thread(target=drag)
    dragger.start()
    try:
        assert digest(qvreg.dask.logit(FORMULA, frame, client)) == undisturbed
    finally:
        done.set()
        dragger.join()


def test_a_client_that_is_closed(processes, frame, monkeypatch):
    other = processes.client()
    During(monkeypatch, "qvreg-estimates-pass-3", other.close)
    with pytest.raises(qvreg.LibraryError) as raised:
        qvreg.dask.logit(FORMULA, frame, other)
    assert str(raised.value) == "The Dask client was closed, or lost its scheduler, before the fit had ended."


def test_a_client_that_was_closed_before(processes, frame):
    other = processes.client()
    other.close()
    for fit in (lambda: qvreg.dask.ols("x ~ z", frame, other),
                lambda: qvreg.dask.LinearRegression(client=other).fit(frame[["x"]], frame["z"])):
        with pytest.raises(qvreg.LibraryError) as raised:
            fit()
        assert str(raised.value) == "The Dask client was closed, or lost its scheduler, before the fit had ended."


def test_a_client_that_is_closed_between_two_tasks(processes, frame):
    tasks = Tasks(processes.client(), 10.0)
    tasks.client.close()
    for send in (lambda: tasks.hold([tasks.data(b"", "none")]), lambda: tasks.result(tasks.data(b"", "none"))):
        with pytest.raises(qvreg.LibraryError) as raised:
            send()
        assert str(raised.value) == "The Dask client was closed, or lost its scheduler, before the fit had ended."


def test_a_cluster_without_workers(processes, client, frame, monkeypatch):
    def kill_all():
        for process in processes.workers.values():
            process.kill()

    During(monkeypatch, "qvreg-estimates-pass-3", kill_all)
    begin = time.monotonic()
    with pytest.raises(qvreg.LibraryError) as raised:
        qvreg.dask.logit(FORMULA, frame, client, timeout=3)
    assert str(raised.value) == ("The Dask cluster has had no worker for 3 seconds: the fit has ended. Look at the "
                                 "cluster's logs, or give a longer timeout=.")
    assert time.monotonic() - begin < 40
    wait_until(lambda: not task_names(client))


def test_workers_that_come_again(processes, client, frame, undisturbed):
    timer = threading.Timer(2.0, processes.add, ("late",))
    timer.start()
    assert digest(qvreg.dask.logit(FORMULA, frame, client, timeout=60)) == undisturbed


def test_a_worker_without_the_package(processes, client):
    for process in processes.workers.values():
        process.kill()
    wait_until(lambda: not client.scheduler_info()["workers"])
    processes.add("bare", package=False)
    with pytest.raises(qvreg.QvregError) as raised:
        qvreg.dask.logit(FORMULA, dd.from_pandas(make(0), npartitions=1), client, timeout=10)
    assert "A task on the cluster has failed with ModuleNotFoundError: No module named 'qvreg" in str(raised.value)


def test_a_scheduler_that_dies(processes, client, frame, monkeypatch):
    processes.add("last")
    client.wait_for_workers(2, timeout=60)
    processes.workers["bare"].kill()
    During(monkeypatch, "qvreg-estimates-pass-3", processes.scheduler.kill)
    with pytest.raises(qvreg.LibraryError) as raised:
        qvreg.dask.logit(FORMULA, frame, client, timeout=3)
    assert str(raised.value) in ("The Dask scheduler has not answered for 3 seconds: the fit has ended. Look at the "
                                 "cluster's logs, or give a longer timeout=.",
                                 "The Dask client was closed, or lost its scheduler, before the fit had ended.")
