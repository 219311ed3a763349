"""Clusters of processes for tests, and the same parts fitted without any."""

import contextlib
import hashlib
import os
import signal
import subprocess
import sys
import time

import numpy as np
import patsy
import pytest
from qvreg import _passes
from qvreg._models import Arguments, fit_formula
from qvreg._tables import Table, Tables

dask = pytest.importorskip("dask", reason="dask is not installed")
distributed = pytest.importorskip("distributed", reason="distributed is not installed")

QUIET = {"dashboard_address": None, "silence_logs": "ERROR"}


def digest(results):
    """A digest of the numbers of a fit, to the last bit."""
    numbers = [results.params, results.bse, results.cov_params(), results.llf, results.nobs]
    return hashlib.sha256(b"".join(np.asarray(number, float).tobytes() for number in numbers)).hexdigest()


class _Here(Tables):
    """Tables whose records are parts of this process."""

    def records(self, model, weights):
        return _passes.PartsHere([model.part(Table(table), weights) for table in self._make()])


def fit_here(kind, formula, frames, **options):
    """The fit of `frames` as parts, in this process."""
    names = patsy.EvalEnvironment.capture(1)
    return fit_formula(kind, formula, _Here(lambda: frames, is_whole=False), names, Arguments.of(options))


def partitions_of(frame):
    """The partitions of a Dask DataFrame, in this process."""
    return list(dask.compute(*frame.to_delayed(), scheduler="sync"))


@contextlib.contextmanager
def within(seconds):
    """An exception unless the block ends in time: nothing may hang."""

    def late(_signal, _frame):
        pytest.fail(f"it has not ended in {seconds} seconds")

    before = signal.signal(signal.SIGALRM, late)
    signal.alarm(seconds)
    try:
        yield
    finally:
        signal.alarm(0)
        signal.signal(signal.SIGALRM, before)


def task_names(client):
    """Names of the tasks of fits that the scheduler knows."""
    return client.run_on_scheduler(lambda dask_scheduler: [key for key in dask_scheduler.tasks if "qvreg-" in key])


def wait_until(true, seconds=20):
    """Waits until `true` is."""
    end = time.monotonic() + seconds
    while not true():
        assert time.monotonic() < end, "it has not come true"
        time.sleep(0.05)


class Processes:
    """A scheduler and workers without nanny, each a process of its own, started as on several hosts."""

    def __init__(self, folder, n_workers):
        self._folder = folder
        self.scheduler = self._start("scheduler", "dask_scheduler", "--host", "127.0.0.1", "--port", "0",
                                     "--no-dashboard", "--scheduler-file", folder / "scheduler.json")
        self.workers = {}
        for number in range(n_workers):
            self.add(f"w{number}")

    def add(self, name, package=True):
        self.workers[name] = self._start(name, "dask_worker", "--scheduler-file", self._folder / "scheduler.json",
                                         "--no-nanny", "--nthreads", "1", "--name", name, "--no-dashboard",
                                         "--local-directory", self._folder / name, package=package)

    def _start(self, name, module, *arguments, package=True):
        paths = sys.path if package else [path for path in sys.path if not os.path.exists(os.path.join(path, "qvreg"))]
        with open(self._folder / f"{name}.log", "wb") as log:
            return subprocess.Popen([sys.executable, "-m", f"distributed.cli.{module}", *map(str, arguments)],
                                    stdout=log, stderr=log, env={**os.environ, "PYTHONPATH": os.pathsep.join(paths)})

    def client(self):
        wait_until((self._folder / "scheduler.json").exists)
        client = distributed.Client(scheduler_file=str(self._folder / "scheduler.json"), timeout=30)
        alive = [process for process in self.workers.values() if process.poll() is None]
        if alive:
            client.wait_for_workers(len(alive), timeout=60)
        return client

    def log(self, name):
        return (self._folder / f"{name}.log").read_text()

    def stop(self):
        for process in [*self.workers.values(), self.scheduler]:
            if process.poll() is None:
                process.kill()
            process.wait()
