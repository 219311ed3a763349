#!/usr/bin/env python3
"""Robust errors and diagnostics of a model of three categories, written out with numpy.

    tests/reference/robust/three.py

reads everything.csv, which make.R beside it wrote, and writes three_errors.csv, a standard error
for each kind, category and parameter, and three.csv, a row of diagnostics for each row of the
table. R has no package for these. Newton's iteration for the estimates; the covariance matrix of
the others (without a record) is inverted anew for each record, where the command uses Woodbury's
formula. Made with numpy 1.24.
"""
import csv
from pathlib import Path

import numpy as np

HERE = Path(__file__).resolve().parent
LEVELS = ["hi", "lo", "mid"]  # the last one is the reference
ROWS = list(csv.DictReader(open(HERE / "everything.csv")))


def is_used(row):
    return all(row[name] for name in ("a", "b", "c", "x", "x2", "r", "y3")) and float(row["f"]) > 0


def design(rows):
    """The columns of y3 ~ a*b + a/c + x + I(x^2) + x2 that do not depend on earlier ones."""
    columns = [("(Intercept)", np.ones(len(rows)))]
    for names in (["a"], ["b"], ["a", "b"], ["a", "c"]):
        for key in sorted({tuple(row[n] for n in names) for row in rows}):
            hit = [float(all(row[n] == v for n, v in zip(names, key))) for row in rows]
            columns.append((":".join(f"{n}={v}" for n, v in zip(names, key)), np.array(hit)))
    x = np.array([float(row["x"]) for row in rows])
    columns += [("x", x), ("I(x^2)", x * x), ("x2", np.array([float(row["x2"]) for row in rows]))]
    kept = []
    for column in columns:
        others = np.array([c for _, c in kept]).T
        if kept:
            rest = column[1] - others @ np.linalg.lstsq(others, column[1], rcond=None)[0]
            if np.linalg.norm(rest) < 1e-9 * np.linalg.norm(column[1]):
                continue
        kept.append(column)
    return [name for name, _ in kept], np.array([c for _, c in kept]).T


places = [i for i, row in enumerate(ROWS) if is_used(row)]
used = [ROWS[i] for i in places]
labels, X = design(used)
f = np.array([float(row["f"]) for row in used])
r = np.array([float(row["r"]) for row in used])
Y = np.array([[float(row["y3"] == level) for level in LEVELS] for row in used])
n, p = X.shape
K = len(LEVELS)


def probabilities(beta):
    eta = np.hstack([X @ beta.reshape(K - 1, p).T, np.zeros((n, 1))])
    odds = np.exp(eta - eta.max(axis=1, keepdims=True))
    return odds / odds.sum(axis=1, keepdims=True)


def information_of(i, P):
    """Of one record, without its frequency."""
    W = r[i] * (np.diag(P[i, :-1]) - np.outer(P[i, :-1], P[i, :-1]))
    return np.kron(W, np.outer(X[i], X[i]))


def score_of(i, P):
    return np.kron(r[i] * (Y[i, :-1] - P[i, :-1]), X[i])


beta = np.zeros((K - 1) * p)
for _ in range(50):
    P = probabilities(beta)
    score = sum(f[i] * score_of(i, P) for i in range(n))
    information = sum(f[i] * information_of(i, P) for i in range(n))
    beta = beta + np.linalg.solve(information, score)
P = probabilities(beta)
information = sum(f[i] * information_of(i, P) for i in range(n))
V = np.linalg.inv(information)
k = len(beta)
N = f.sum()

scores = np.array([score_of(i, P) for i in range(n)])
meats = {"hc0": sum(f[i] * np.outer(scores[i], scores[i]) for i in range(n))}
meats["hc1"] = meats["hc0"] * N / (N - k)
clusters = sorted({row["cl"] for row in used})
sums = [sum(f[i] * scores[i] for i in range(n) if used[i]["cl"] == c) for c in clusters]
G = len(clusters)
meats["cluster"] = sum(np.outer(u, u) for u in sums) * G / (G - 1) * (N - 1) / (N - k)
with open(HERE / "three_errors.csv", "w") as file:
    file.write("model,kind,label,error\n")
    for kind, meat in meats.items():
        for name, error in zip([f"{c}:{l}" for c in LEVELS[:-1] for l in labels],
                               np.sqrt(np.diag(V @ meat @ V))):
            file.write(f"three,{kind},{name},{error!r}\n")

table = [[""] * 6 for _ in ROWS]
for i, place in enumerate(places):
    deviance = np.sqrt(-2 * r[i] * np.log((P[i] * Y[i]).sum()))
    pearson = np.sqrt(r[i]) * (Y[i] - P[i]) / np.sqrt(P[i] * (1 - P[i]))
    own = information_of(i, P)
    step = np.linalg.solve(information - own, scores[i])
    table[place] = [repr(float(v)) for v in
                    (deviance, *pearson, np.trace(own @ V), step @ information @ step / k)]
with open(HERE / "three.csv", "w") as file:
    file.write("deviance_residual,pearson_residual_hi,pearson_residual_lo,pearson_residual_mid,"
               "leverage,cooks_distance\n")
    for row in table:
        file.write(",".join(row) + "\n")
