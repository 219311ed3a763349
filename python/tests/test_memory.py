"""Data are read in place: a fit takes memory for its model, not for copies of the data."""

import gc
import threading
import weakref
from pathlib import Path

import numpy as np
import pandas as pd
import pytest
import qvreg
from qvreg.sklearn import LinearRegression

MEGABYTE = 1 << 20
STATUS = Path("/proc/self/status")

pytestmark = pytest.mark.skipif(not STATUS.exists(), reason="memory is measured by /proc/self/status")


class Growth:
    """The most that the anonymous memory of this process grows, looked at every 5 ms."""

    def __enter__(self):
        gc.collect()
        self._before = self._peak = self._now()
        self._done = threading.Event()
        self._watcher = threading.Thread(target=self._watch)
        self._watcher.start()
        return self

    def __exit__(self, *_):
        self._done.set()
        self._watcher.join()
        self.bytes = self._peak - self._before

    def _watch(self):
        while not self._done.wait(0.005):
            self._peak = max(self._peak, self._now())

    @staticmethod
    def _now():
        line = next(line for line in STATUS.read_text().splitlines() if line.startswith("RssAnon"))
        return int(line.split()[1]) * 1024


@pytest.fixture(scope="module")
def mapped(tmp_path_factory):
    """1 GB of float64, 20 columns, mapped from a file."""
    path, rows, columns = tmp_path_factory.mktemp("mapped") / "values", 6_250_000, 20
    block = np.random.default_rng(5).normal(size=(250_000, columns))
    with open(path, "wb") as file:
        for _ in range(rows // len(block)):
            file.write(block.tobytes())
    yield np.memmap(path, np.float64, "r", shape=(rows, columns))
    path.unlink()


def test_the_watch_sees_a_copy(mapped):
    with Growth() as growth:
        np.array(mapped[:1_250_000]).sum()
    assert growth.bytes > 150 * MEGABYTE


def test_mapped_columns_are_not_copied(mapped):
    data = {f"x{j}": mapped[:, j] for j in range(20)}
    with Growth() as growth:
        results = qvreg.ols("x0 ~ " + " + ".join(f"x{j}" for j in range(1, 20)), data)
    assert results.nobs == 6_250_000
    assert growth.bytes < 100 * MEGABYTE


def test_a_mapped_matrix_is_not_copied(mapped):
    with Growth() as growth:
        LinearRegression(n_jobs=-1).fit(mapped[:, 1:], mapped[:, 0])
    assert growth.bytes < 100 * MEGABYTE


@pytest.mark.parametrize("kind", ["categorical", "text"])
def test_a_factor_of_500_levels_on_a_million_rows(kind):
    rng = np.random.default_rng(2)
    codes = rng.integers(0, 500, 1_000_000)
    names = [f"level {level:03}" for level in range(500)]
    data = pd.DataFrame({"g": pd.Categorical.from_codes(codes, names), "x": rng.normal(size=1_000_000)})
    data["y"] = codes * 0.01 + data.x + rng.normal(size=1_000_000)
    if kind == "text":
        data["g"] = data.g.astype(str)
    with Growth() as growth:
        results = qvreg.ols("y ~ g + x", data)
    assert len(results.params) == 501
    assert growth.bytes < 100 * MEGABYTE


def fitted():
    """Results, and references to the arrays that nothing else holds."""
    rng = np.random.default_rng(4)
    data = {"y": rng.normal(size=100), "x": rng.normal(size=100)}
    results = [qvreg.ols("y ~ x", data, vcov="hc1"), qvreg.fit_chunks([data], "y ~ x")]
    return results, [weakref.ref(array) for array in data.values()]


def test_results_do_not_hold_the_data():
    results, arrays = fitted()
    gc.collect()
    assert all(array() is None for array in arrays)
    assert [result.nobs for result in results] == [100, 100]


@pytest.mark.parametrize("kind", [np.asarray, pd.DataFrame])
def test_what_estimators_take_is_read_in_place(kind):
    rng = np.random.default_rng(4)
    X = kind(rng.normal(size=(1_000_000, 10)))
    y = rng.normal(size=1_000_000)
    with Growth() as growth:
        LinearRegression().fit(X, y)
    assert growth.bytes < 40 * MEGABYTE
