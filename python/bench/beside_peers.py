#!/usr/bin/env python3
"""Processor seconds and memory of fits beside statsmodels and scikit-learn, from the same DataFrame.

    OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1 python3 python/bench/beside_peers.py

Each fit has three processes of its own, of which the one that takes least counts. Memory is the peak of anonymous memory above that before the fit;
the difference is the largest one of an estimate from that of the first row, over the largest estimate.
Names of data sets may follow, to run these alone.

Iterations end by what each package calls its tolerance: qvreg when no estimate changes by more than
1e-6 of it, statsmodels' Newton when none changes by 1e-8, L-BFGS and newton-cg of scikit-learn when no
element of the gradient of the summed loss exceeds 1e-6.
"""

from __future__ import annotations

import subprocess
import sys
import tempfile
import threading
import time
import warnings
from collections.abc import Callable
from importlib import import_module
from importlib.util import find_spec
from pathlib import Path
from typing import Any

import numpy as np
import pandas as pd

Fit = Callable[[], Any]

_RUNS = 3


def numbers(rows: int, columns: int) -> tuple[pd.DataFrame, list[str], str]:
    """A table of normal numbers, their names, and the formula of all of them."""
    names = [f"x{j}" for j in range(columns)]
    table = pd.DataFrame(np.random.default_rng(0).normal(size=(rows, columns)), columns=names)
    return table, names, "y ~ " + " + ".join(names)


def qvreg_fit(model: str, formula: str, table: pd.DataFrame) -> Any:
    import qvreg

    return getattr(qvreg, model)(formula, table, threads=1)


def statsmodels_fit(model: str, formula: str, table: pd.DataFrame, **options: Any) -> Any:
    import statsmodels.formula.api as smf

    return getattr(smf, model)(formula, table).fit(**options)


def linear() -> dict[str, Fit]:
    table, names, formula = numbers(1_000_000, 10)
    table["y"] = table.sum(axis=1) + np.random.default_rng(1).normal(size=len(table))
    return {"qvreg.ols": lambda: qvreg_fit("ols", formula, table),
            "statsmodels OLS": lambda: statsmodels_fit("ols", formula, table),
            "qvreg.sklearn": lambda: estimator("qvreg.sklearn", "LinearRegression").fit(table[names], table.y),
            "scikit-learn": lambda: estimator("sklearn.linear_model", "LinearRegression").fit(table[names], table.y)}


def classes() -> dict[str, Fit]:
    table, names, formula = numbers(200_000, 30)
    rng = np.random.default_rng(1)
    utility = table.to_numpy() @ rng.normal(scale=0.3, size=(30, 5)) + rng.gumbel(size=(len(table), 5))
    table["y"] = utility.argmax(axis=1)
    exact = {"penalty": None, "max_iter": 1000, "tol": 1e-6}

    def logistic(module: str, **options: Any) -> Any:
        return estimator(module, "LogisticRegression", **options).fit(table[names], table.y)

    return {"qvreg.mnlogit": lambda: qvreg_fit("mnlogit", formula, table),
            "statsmodels MNLogit": lambda: statsmodels_fit("mnlogit", formula, table, method="newton", disp=False),
            "qvreg.sklearn": lambda: logistic("qvreg.sklearn"),
            "scikit-learn L-BFGS": lambda: logistic("sklearn.linear_model", **exact),
            "scikit-learn newton-cg": lambda: logistic("sklearn.linear_model", solver="newton-cg", **exact)}


def estimator(module: str, name: str, **options: Any) -> Any:
    return getattr(import_module(module), name)(**options)


def factor(rows: int) -> dict[str, Fit]:
    rng = np.random.default_rng(0)
    codes = rng.integers(0, 500, rows)
    table = pd.DataFrame({"g": pd.Categorical.from_codes(codes, [f"level {i}" for i in range(500)]),
                          "x": rng.normal(size=rows)})
    table["y"] = codes * 0.01 + table.x + rng.normal(size=rows)
    return {"qvreg.ols": lambda: qvreg_fit("ols", "y ~ g + x", table),
            "statsmodels OLS": lambda: statsmodels_fit("ols", "y ~ g + x", table)}


def estimates(fitted: Any) -> np.ndarray:
    """Constants and coefficients, of classes against the first one, of one class after the other."""
    if hasattr(fitted, "params"):
        return np.asarray(fitted.params).ravel(order="F")
    rows = np.column_stack([np.atleast_1d(fitted.intercept_), np.atleast_2d(fitted.coef_)])
    return (rows[1:] - rows[0]).ravel() if len(rows) > 1 else rows[0]


SETS = {"1,000,000 x 10": linear,
        "200,000 x 30, 5 classes": classes,
        "500 levels, 50,000 rows": lambda: factor(50_000),
        "500 levels, 1,000,000 rows": lambda: factor(1_000_000)}
# What fits import, by how their names begin; and what is imported before any.
MODULES = {"qvreg.sklearn": "sklearn.linear_model", "qvreg": "qvreg", "statsmodels": "statsmodels.formula.api",
           "scikit-learn": "sklearn.linear_model"}
BEFORE = ["patsy", "qvreg"]
LEFT_OUT = {("500 levels, 1,000,000 rows", "statsmodels OLS"): "left out: its design matrix alone has 4 GB"}


def module_of(name: str) -> str:
    return next(module for begin, module in MODULES.items() if name.startswith(begin))


def anonymous_kilobytes() -> int:
    with open("/proc/self/status", encoding="ascii") as status:
        return int(next(line for line in status if line.startswith("RssAnon")).split()[1])


class Peak:
    """The peak of anonymous memory while it is entered, looked at every 2 ms."""

    def __enter__(self) -> "Peak":
        self.before = self.kilobytes = anonymous_kilobytes()
        self._is_over = threading.Event()
        self._watch = threading.Thread(target=self._look)
        self._watch.start()
        return self

    def _look(self) -> None:
        while not self._is_over.wait(0.002):
            self.kilobytes = max(self.kilobytes, anonymous_kilobytes())

    def __exit__(self, *_: Any) -> None:
        self._is_over.set()
        self._watch.join()


def measure(name: str, fit: Fit, found: Path) -> None:
    """Runs one fit, prints seconds and megabytes that it took but for imports, and keeps its estimates in `found`."""
    for module in [*BEFORE, module_of(name)]:
        import_module(module)
    with Peak() as peak:
        started = time.process_time()
        fitted = fit()
        seconds = time.process_time() - started
    print(seconds, (peak.kilobytes - peak.before) / 1024)
    np.save(found, estimates(fitted))


def difference(found: Path, first: Path) -> str:
    expected = np.load(first)
    return "" if found == first else f"{np.max(np.abs(np.load(found) - expected)) / np.max(np.abs(expected)):.0e}"


def not_run(data: str, name: str) -> str | None:
    """Why a fit is not run; None where it is."""
    package = module_of(name).partition(".")[0]
    return LEFT_OUT.get((data, name)) if find_spec(package) else f"not run: {package} is not installed"


def took(words: list[str]) -> tuple[float, float]:
    """Seconds and megabytes of a fit in a process of its own."""
    made = subprocess.run([sys.executable, __file__, "--one", *words], check=True, stdout=subprocess.PIPE, text=True)
    seconds, megabytes = map(float, made.stdout.split()[-2:])
    return seconds, megabytes


def compare(data: str, folder: Path) -> None:
    print(f"| {data} | processor | memory | difference |\n| --- | --- | --- | --- |", flush=True)
    first = None
    for number, name in enumerate(SETS[data]()):
        reason = not_run(data, name)
        if reason:
            print(f"| {name} | {reason} | | |", flush=True)
            continue
        found = folder / f"{number}.npy"
        first = first or found
        seconds, megabytes = min(took([data, name, str(found)]) for _ in range(_RUNS))
        print(f"| {name} | {seconds:.2f} s | {megabytes:.0f} MB | {difference(found, first)} |", flush=True)
    print()


def main(arguments: list[str]) -> None:
    if arguments[:1] == ["--one"]:
        _, data, name, found = arguments
        warnings.simplefilter("ignore")
        measure(name, SETS[data]()[name], Path(found))
        return
    for data in arguments or SETS:
        if data not in SETS:
            sys.exit(f"There is no data set {data!r}. Choose among {', '.join(map(repr, SETS))}.")
        with tempfile.TemporaryDirectory() as folder:
            compare(data, Path(folder))


if __name__ == "__main__":
    main(sys.argv[1:])
