#!/usr/bin/env python3
"""Processor seconds and memory of fits beside statsmodels and scikit-learn, from the same DataFrame.

    OMP_NUM_THREADS=1 OPENBLAS_NUM_THREADS=1 python3 python/bench/beside_peers.py

Each fit has a process of its own. Memory is the peak above that before the fit. Names of data sets may
follow, to run these alone.
"""

from __future__ import annotations

import subprocess
import sys
import time
import warnings
from collections.abc import Callable

import numpy as np
import pandas as pd

Fit = Callable[[], object]


def numbers(rows: int, columns: int) -> tuple[pd.DataFrame, list[str], str]:
    """A table of normal numbers, their names, and the formula of all of them."""
    names = [f"x{j}" for j in range(columns)]
    table = pd.DataFrame(np.random.default_rng(0).normal(size=(rows, columns)), columns=names)
    return table, names, "y ~ " + " + ".join(names)


def linear() -> dict[str, Fit]:
    import qvreg
    import qvreg.sklearn
    import sklearn.linear_model
    import statsmodels.formula.api as smf

    table, names, formula = numbers(1_000_000, 10)
    table["y"] = table.sum(axis=1) + np.random.default_rng(1).normal(size=len(table))
    return {"qvreg.ols": lambda: qvreg.ols(formula, table, threads=1),
            "statsmodels OLS": lambda: smf.ols(formula, table).fit(),
            "qvreg.sklearn": lambda: qvreg.sklearn.LinearRegression().fit(table[names], table.y),
            "scikit-learn": lambda: sklearn.linear_model.LinearRegression().fit(table[names], table.y)}


def classes() -> dict[str, Fit]:
    import qvreg
    import qvreg.sklearn
    import statsmodels.formula.api as smf
    from sklearn.linear_model import LogisticRegression

    table, names, formula = numbers(200_000, 30)
    rng = np.random.default_rng(1)
    utility = table.to_numpy() @ rng.normal(scale=0.3, size=(30, 5)) + rng.gumbel(size=(len(table), 5))
    table["y"] = utility.argmax(axis=1)
    exact = {"penalty": None, "max_iter": 1000, "tol": 1e-6}
    return {"qvreg.mnlogit": lambda: qvreg.mnlogit(formula, table, threads=1),
            "statsmodels MNLogit": lambda: smf.mnlogit(formula, table).fit(method="newton", disp=False),
            "qvreg.sklearn": lambda: qvreg.sklearn.LogisticRegression().fit(table[names], table.y),
            "scikit-learn L-BFGS": lambda: LogisticRegression(**exact).fit(table[names], table.y),
            "scikit-learn newton-cg": lambda: LogisticRegression(solver="newton-cg", **exact).fit(
                table[names], table.y)}


def factor(rows: int) -> dict[str, Fit]:
    import qvreg
    import statsmodels.formula.api as smf

    rng = np.random.default_rng(0)
    codes = rng.integers(0, 500, rows)
    table = pd.DataFrame({"g": pd.Categorical.from_codes(codes, [f"level {i}" for i in range(500)]),
                          "x": rng.normal(size=rows)})
    table["y"] = codes * 0.01 + table.x + rng.normal(size=rows)
    return {"qvreg.ols": lambda: qvreg.ols("y ~ g + x", table, threads=1),
            "statsmodels OLS": lambda: smf.ols("y ~ g + x", table).fit()}


SETS = {"1,000,000 x 10": linear,
        "200,000 x 30, 5 classes": classes,
        "500 levels, 50,000 rows": lambda: factor(50_000),
        "500 levels, 1,000,000 rows": lambda: factor(1_000_000)}
# statsmodels' design matrix of the last set alone has 4 GB.
LEFT_OUT = {("500 levels, 1,000,000 rows", "statsmodels OLS")}


def peak_kilobytes() -> int:
    with open("/proc/self/status", encoding="ascii") as status:
        return int(next(line for line in status if line.startswith("VmHWM")).split()[1])


def measure(name: str, fit: Fit) -> None:
    """Runs one fit and prints what it took."""
    with open("/proc/self/clear_refs", "w", encoding="ascii") as refs:
        refs.write("5")  # the peak starts anew
    before, started = peak_kilobytes(), time.process_time()
    fit()
    seconds = time.process_time() - started
    print(f"| {name} | {seconds:.2f} s | {(peak_kilobytes() - before) / 1024:.0f} MB |", flush=True)


def main(arguments: list[str]) -> None:
    if len(arguments) == 2 and arguments[0] in SETS:
        warnings.simplefilter("ignore")
        measure(arguments[1], SETS[arguments[0]]()[arguments[1]])
        return
    for data, make in SETS.items():
        if arguments and data not in arguments:
            continue
        print(f"| {data} | processor | memory |\n| --- | --- | --- |", flush=True)
        for name in make():
            if (data, name) not in LEFT_OUT:
                subprocess.run([sys.executable, __file__, data, name], check=True)
        print()


if __name__ == "__main__":
    main(sys.argv[1:])
