#!/usr/bin/env python3
"""Standard errors of the probabilities of three categories, written out with numpy.

    tests/reference/score/three.py

reads ../robust/everything.csv and writes three.csv, a row for each row of that table, of the model
y3 ~ a + x with its two weights. Newton's iteration for the estimates; the errors come from the
derivatives of the probabilities by the estimates, which are taken by complex steps. Made with
numpy 1.24.
"""
import csv
from pathlib import Path

import numpy as np

HERE = Path(__file__).resolve().parent
LEVELS = ["hi", "lo", "mid"]  # the last one is the reference
ROWS = list(csv.DictReader(open(HERE / "../robust/everything.csv")))
STEP = 1e-100


def design(row):
    return np.array([1.0, row["a"] == "p", row["a"] == "q", float(row["x"])])


def probabilities(beta, x):
    odds = np.append(np.exp(beta.reshape(2, -1) @ x), 1.0)
    return odds / odds.sum()


used = [r for r in ROWS if r["x"] and r["r"] and r["y3"] and float(r["f"]) > 0]
beta = np.zeros(8)
for _ in range(50):
    score, information = np.zeros(8), np.zeros((8, 8))
    for row in used:
        x, w = design(row), float(row["f"]) * float(row["r"])
        p = probabilities(beta, x)[:2]
        y = np.array([row["y3"] == level for level in LEVELS[:2]], float)
        score += w * np.kron(y - p, x)
        information += w * np.kron(np.diag(p) - np.outer(p, p), np.outer(x, x))
    beta = beta + np.linalg.solve(information, score)
covariance = np.linalg.inv(information)

with open(HERE / "three.csv", "w") as out:
    names = [f"p_{level}" for level in LEVELS] + [f"se_{level}" for level in LEVELS]
    print(",".join(names), file=out)
    for row in ROWS:
        if not row["x"]:
            print("," * 5, file=out)
            continue
        x = design(row)
        gradient = np.array([
            probabilities(beta + 1j * STEP * np.eye(8)[i], x).imag / STEP for i in range(8)])
        errors = np.sqrt(np.einsum("ik,ij,jk->k", gradient, covariance, gradient))
        print(",".join(f"{v:.15g}" for v in [*probabilities(beta, x), *errors]), file=out)
