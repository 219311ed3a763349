#!/usr/bin/env python3
"""Writes NAME.json, the exact fit of NAME.csv, for the real tables of this folder.

Rational arithmetic on the decimal data, rounded once to double at the end. Run it in this folder:
python3 exact.py
"""

import csv
import json
import math
import pathlib
import sys
from fractions import Fraction

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import rational  # noqa: E402

# name: dependent, formula, terms (each a list of columns), factors
CASES = {
    "petrol": ("EP", "EP ~ SG + No + VP2", [["SG"], ["No"], ["VP2"]], {"No"}),
    "petrol_crossed": (
        "Y",
        "Y ~ SG * EP * No",
        [["SG"], ["EP"], ["SG", "EP"], ["No"], ["SG", "No"], ["EP", "No"], ["SG", "EP", "No"]],
        {"No"},
    ),
    "txhousing": (
        "inventory",
        "inventory ~ sales * date * year",
        [["sales"], ["date"], ["sales", "date"], ["year"], ["sales", "year"], ["date", "year"],
         ["sales", "date", "year"]],
        set(),
    ),
}


def columns_of(rows, terms, factors):
    """Labels and columns of the design: the intercept, then every level of every term."""
    labels, columns = ["(Intercept)"], [[Fraction(1)] * len(rows)]
    for term in terms:
        product = [math.prod((Fraction(row[c]) for c in term if c not in factors), start=Fraction(1))
                   for row in rows]
        names = [c for c in term if c in factors]
        if not names:
            labels.append({"term": ":".join(term), "levels": {}})
            columns.append(product)
            continue
        (factor,) = names
        for level in sorted({row[factor] for row in rows}):
            label = ":".join([f"C({factor})"] + [c for c in term if c != factor])
            labels.append({"term": label, "levels": {factor: level}})
            columns.append([p if row[factor] == level else Fraction(0)
                            for p, row in zip(product, rows)])
    return labels, columns


def fit(columns, y, weights=None):
    """Kept columns, estimates, diagonal of the inverse, residual sum of squares."""
    p = len(columns)
    m = rational.cross_products(columns + [y], weights)
    kept, _ = rational.sweep(m, p)
    estimates = [m[k][p] if k in kept else Fraction(0) for k in range(p)]
    variance = [m[k][k] if k in kept else Fraction(0) for k in range(p)]
    return kept, estimates, variance, m[p][p]


def main():
    for name, (dependent, formula, terms, factors) in CASES.items():
        with open(f"{name}.csv", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        labels, columns = columns_of(rows, terms, factors)
        y = [Fraction(row[dependent]) for row in rows]
        kept, estimates, variance, sse = fit(columns, y)
        mean = sum(y) / len(y)
        total = sum((v - mean) ** 2 for v in y)
        result = {
            "kind": "linear",
            "formula": formula,
            "options": [],
            "n": len(rows),
            "labels": labels,
            "estimates": [float(v) for v in estimates],
            "redundant": [k not in kept for k in range(len(columns))],
            "unscaled_variance": [float(v) for v in variance],
            "rmse": math.sqrt(sse / len(rows)),
            "r_square": float(1 - sse / total),
            "sse": float(sse),
        }
        with open(f"{name}.json", "w", encoding="utf-8") as file:
            json.dump(result, file, indent=1)
            file.write("\n")
        print(f"{name}: {len(kept)} of {len(columns)} columns kept, R square {result['r_square']}")


if __name__ == "__main__":
    main()
