#!/usr/bin/env python3
"""How well records are predicted that a fit did not see, by fits written out with numpy.

    tests/reference/validation/make.py

reads ../effects/everything.csv (two weights, a crossing with an empty cell, a power, a redundant
column, a nested effect) and writes beside itself parts.csv, which part each row falls into, by the
definition of the lots written out here again; predictions.csv, what fits of the other parts predict;
and NAME.json for each case, with the numbers of scikit-learn's metrics for those predictions, the
weights as sample weights. roc.R computes the areas again. Needs numpy and scikit-learn (made with
1.24.2 and 1.2.1).
"""
import csv
import json
from pathlib import Path

import numpy as np
from sklearn import metrics

HERE = Path(__file__).resolve().parent
MASK = 2**64 - 1


def mix(z):
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9 & MASK
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB & MASK
    return z ^ (z >> 31)


def places(rows, seed):
    """The place of each row among so many, shuffled."""
    bits = 1
    while 4**bits < rows:
        bits += 1
    keys = [mix((seed + i * 0x9E3779B97F4A7C15) & MASK) for i in range(1, 9)]

    def once(place):
        left, right = place >> bits, place & (2**bits - 1)
        for key in keys:
            left, right = right, left ^ (mix((key + right) & MASK) >> (64 - bits))
        return left << bits | right

    result = []
    for row in range(rows):
        place = once(row)
        while place >= rows:
            place = once(place)
        result.append(place)
    assert sorted(result) == list(range(rows))
    return np.array(result)


ROWS = list(csv.DictReader(open(HERE.parent / "effects" / "everything.csv")))
N = len(ROWS)
f = np.array([float(row["f"]) for row in ROWS])
w = np.array([float(row["w"]) for row in ROWS])
y = np.array([float(row["y"]) for row in ROWS])
k = np.array([row["k"] for row in ROWS])

HOLDOUT = (places(N, 1) < np.floor(0.25 * N + 0.5)).astype(int)
FOLDS = places(N, 5) * 4 // N
with open(HERE / "parts.csv", "w") as file:
    file.write("holdout,fold,place_of_5_seed_3\n")
    few = places(5, 3)
    for i in range(N):
        file.write(f"{HOLDOUT[i]},{FOLDS[i] + 1},{few[i] if i < 5 else ''}\n")


def design(everything):
    """All columns of 1 + a + b + x + I(x^2) + z + a:b + a:town + a:s, or without a:b."""
    columns = [np.ones(N)]
    effects = [["a"], ["b"], None] + ([["a", "b"]] if everything else []) + [["a", "town"]]
    x = np.array([float(row["x"]) for row in ROWS])
    for names in effects:
        if names is None:
            columns += [x, x * x, np.array([float(row["z"]) for row in ROWS])]
            continue
        for key in sorted({tuple(row[n] for n in names) for row in ROWS}):
            columns.append(np.array([float(all(row[n] == v for n, v in zip(names, key)))
                                     for row in ROWS]))
    s = np.array([float(row["s"]) for row in ROWS])
    columns += [s * np.array([row["a"] == v for row in ROWS]) for v in "pqr"]
    return np.array(columns).T


def kept_columns(X):
    kept = []
    for j in range(X.shape[1]):
        others = X[:, kept]
        rest = X[:, j] - others @ np.linalg.lstsq(others, X[:, j], rcond=None)[0]
        if np.linalg.norm(rest) > 1e-9 * max(np.linalg.norm(X[:, j]), 1e-300):
            kept.append(j)
    return kept


def fit_linear(X, train):
    kept = kept_columns(X[train])
    root = np.sqrt(f[train] * w[train])
    b = np.linalg.lstsq(X[train][:, kept] * root[:, None], y[train] * root, rcond=None)[0]
    return X[:, kept] @ b


def fit_logistic(X, Y, train):
    """Probabilities of all rows; the last column of Y is the reference."""
    kept = kept_columns(X[train])
    X = X[:, kept]
    p, K = X.shape[1], Y.shape[1]

    def probabilities(beta):
        eta = np.hstack([X @ beta.reshape(K - 1, p).T, np.zeros((N, 1))])
        odds = np.exp(eta - eta.max(axis=1, keepdims=True))
        return odds / odds.sum(axis=1, keepdims=True)

    beta = np.zeros((K - 1) * p)
    weight = np.where(train, f * w, 0.0)
    for _ in range(60):
        P = probabilities(beta)
        score = ((weight[:, None] * (Y - P)[:, :-1]).T @ X).ravel()
        H = np.zeros((len(beta), len(beta)))
        for i in range(K - 1):
            for j in range(K - 1):
                v = weight * P[:, i] * ((i == j) - P[:, j])
                H[i * p:(i + 1) * p, j * p:(j + 1) * p] = X.T @ (v[:, None] * X)
        step = np.linalg.solve(H, score)
        beta += step
    assert np.abs(step).max() < 1e-10 * (1 + np.abs(beta).max()), "not converged"
    return probabilities(beta)


def linear_numbers(held, predicted):
    error = y[held] - predicted[held]
    return {"records": int(held.sum()), "weight": f[held].sum(),
            "r_square": metrics.r2_score(y[held], predicted[held], sample_weight=(f * w)[held]),
            "rmse": np.sqrt((f * w)[held] @ error**2 / f[held].sum()),
            "mean_absolute_error": metrics.mean_absolute_error(
                (y * np.sqrt(w))[held], (predicted * np.sqrt(w))[held], sample_weight=f[held])}


def calibration(P, own, weight):
    groups = []
    total = weight.sum()
    order = np.argsort(P, kind="stable")
    before = 0.0
    sums = np.zeros((10, 3))
    for score in np.unique(P):
        tied = P == score
        share = weight[tied].sum()
        tenth = min(int((before + share / 2) / total * 10), 9)
        sums[tenth] += [share, share * score, weight[tied & own].sum()]
        before += share
    for tenth, (share, predicted, observed) in enumerate(sums):
        if share > 0:
            groups.append({"group": tenth + 1, "weight": share, "mean_predicted": predicted / share,
                           "observed": observed / share})
    return groups


def logistic_numbers(levels, held, P, Y):
    """The reference comes last in the levels; labels of scikit-learn are places."""
    own = Y[held].argmax(axis=1)
    P, sf, sw = P[held], f[held], (f * w)[held]
    K = len(levels)
    numbers = {"records": int(held.sum()), "weight": sf.sum(),
               "log_loss": metrics.log_loss(own, P, labels=range(K), sample_weight=sw, eps=1e-300),
               "accuracy": metrics.accuracy_score(own, P.argmax(axis=1), sample_weight=sf)}
    numbers["classification"] = metrics.confusion_matrix(
        own, P.argmax(axis=1), labels=range(K), sample_weight=sf).tolist()
    per_level = [metrics.roc_auc_score(own == i, P[:, i], sample_weight=sf) for i in range(K)]
    if K == 2:
        numbers["brier"] = metrics.brier_score_loss(own == 0, P[:, 0], sample_weight=sw)
        numbers["auc"] = numbers["auc_weighted"] = per_level[0]
    else:
        numbers["brier"] = sum(metrics.brier_score_loss(own == i, P[:, i], sample_weight=sw)
                               for i in range(K))
        # scikit-learn takes no weights for pairs: rows are repeated.
        often = np.repeat(np.arange(len(own)), sf.astype(int))
        numbers["auc"] = metrics.roc_auc_score(own[often], P[often], multi_class="ovo")
        numbers["auc_weighted"] = metrics.roc_auc_score(own[often], P[often], multi_class="ovr",
                                                        average="weighted")
    numbers["levels"] = [{"level": level, "weight": sf[own == i].sum(), "auc": per_level[i]}
                         for i, level in enumerate(levels)]
    numbers["calibration"] = [dict(level=levels[i], **group)
                              for i in range(1 if K == 2 else K)
                              for group in calibration(P[:, i], own == i, sf)]
    return numbers


def write(name, formula, options, total, folds):
    case = {"formula": formula, "options": options, **total}
    if folds:
        case["folds"] = folds
        names = [n for n, v in folds[0].items() if n not in ("records", "weight")]
        case["mean"] = {n: np.mean([fold[n] for fold in folds]) for n in names}
        case["standard_deviation"] = {n: np.std([fold[n] for fold in folds], ddof=1)
                                      for n in names}
    with open(HERE / f"{name}.json", "w") as file:
        json.dump(case, file, indent=1, default=float)
        file.write("\n")


SINGLE = ["log_loss", "brier", "accuracy", "auc", "auc_weighted"]
TERMS = "a + b + x + I(x^2) + z + a:b + town %in% a + a:s"
FEWER = "a + b + x + I(x^2) + z + town %in% a + a:s"
columns = {}
HELD = HOLDOUT == 1
X, X_FEWER = design(True), design(False)

predicted = fit_linear(X, ~HELD)
write("linear_holdout", "y ~ " + TERMS, ["--holdout", "0.25"], linear_numbers(HELD, predicted), [])
columns["holdout"] = predicted
predicted = np.zeros(N)
folds = []
for fold in range(4):
    out = FOLDS == fold
    own = fit_linear(X, ~out)
    predicted[out] = own[out]
    folds.append(linear_numbers(out, own))
write("linear_folds", "y ~ " + TERMS, ["--folds", "4", "--seed", "5"],
      linear_numbers(FOLDS >= 0, predicted), folds)
columns["folds"] = predicted

for name, formula, levels, Y, Z in (
        ("three", "k ~ " + FEWER, ["high", "low", "mid"],
         np.array([[float(v == level) for level in ("high", "low", "mid")] for v in k]), X_FEWER),
        ("two", "I(k == 'high') ~ " + TERMS, ["true", "false"],
         np.array([[float(v == "high"), float(v != "high")] for v in k]), X)):
    P = fit_logistic(Z, Y, ~HELD)
    write(name + "_holdout", formula, ["--holdout", "0.25"],
          logistic_numbers(levels, HELD, P, Y), [])
    for i, level in enumerate(levels):
        columns[f"{name}_holdout_{level}"] = P[:, i]
    P = np.zeros(Y.shape)
    folds = []
    for fold in range(4):
        out = FOLDS == fold
        own = fit_logistic(Z, Y, ~out)
        P[out] = own[out]
        numbers = logistic_numbers(levels, out, own, Y)
        folds.append({n: numbers[n] for n in ["records", "weight"] + SINGLE})
    write(name + "_folds", formula, ["--folds", "4", "--seed", "5"],
          logistic_numbers(levels, FOLDS >= 0, P, Y), folds)
    for i, level in enumerate(levels):
        columns[f"{name}_folds_{level}"] = P[:, i]

with open(HERE / "predictions.csv", "w") as file:
    file.write(",".join(columns) + "\n")
    for i in range(N):
        file.write(",".join(repr(float(column[i])) for column in columns.values()) + "\n")
