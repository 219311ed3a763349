"""Tables that tests share."""

import signal
from pathlib import Path

import numpy as np
import pandas as pd
import pytest

ROOT = Path(__file__).resolve().parents[2]


@pytest.fixture(scope="session", autouse=True)
def _interrupts():
    """Ctrl-C as a terminal has it: shells start what runs in the background without."""
    signal.signal(signal.SIGINT, signal.default_int_handler)


@pytest.fixture(scope="session")
def penguins():
    return pd.read_csv(ROOT / "examples" / "data" / "penguins.csv")


@pytest.fixture(scope="session")
def cars():
    return pd.read_csv(ROOT / "examples" / "data" / "cars.csv")


@pytest.fixture(scope="session")
def table():
    """Factors and numbers in which every combination of levels occurs."""
    rng = np.random.default_rng(7)
    n = 400
    table = pd.DataFrame({
        "a": rng.choice(["p", "q", "r"], n),
        "b": rng.choice(["u", "v"], n),
        "c": pd.Categorical(rng.choice(["low", "mid", "high"], n), ["low", "mid", "high"]),
        "flag": rng.random(n) < 0.4,
        "k": rng.integers(1, 5, n),
        "x": rng.normal(size=n),
        "z": rng.normal(2.0, 1.0, n),
        "positive": rng.gamma(2.0, size=n),
        "odd name": rng.normal(size=n),
        "w": rng.random(n) + 0.5,
        "count": rng.integers(1, 4, n),
    })
    effect = table.a.map({"p": 0.0, "q": 1.0, "r": -0.5}) + 0.3 * table.x * (table.b == "u")
    table["y"] = effect + table.z + rng.normal(size=n)
    table["event"] = (effect + rng.logistic(size=n) > 0.2).astype(int)
    table["kind"] = np.where(effect + rng.logistic(size=n) > 0.8, "high",
                             np.where(table.z + rng.logistic(size=n) > 2.0, "low", "mid"))
    return table
