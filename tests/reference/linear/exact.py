#!/usr/bin/env python3
"""Exact reference fits of the linear model.

    tests/reference/linear/exact.py

reads NAME.csv and writes NAME.json for every case below, beside this script: rational arithmetic on
the decimal data, rounded once to double at the end. The README one folder up explains the keys.
"""

import pathlib
import sys
from fractions import Fraction

FOLDER = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
import case_file  # noqa: E402
import design  # noqa: E402
import rational  # noqa: E402

# name: table, formula, column of the frequencies
CASES = {
    "leading_digits": ("leading_digits", "y ~ g", ""),
    "longley": ("longley", "TOTEMP ~ GNPDEFL + GNP + UNEMP + ARMED + POP + YEAR", ""),
    "norris": ("norris", "y ~ x", ""),
    "petrol": ("petrol", "EP ~ SG + No + VP2", ""),
    "petrol_crossed": ("petrol_crossed", "Y ~ SG * EP * No", ""),
    "two_way_empty_cell": ("two_way", "y ~ A * B + x + A:x", ""),
    "two_way_freq": ("two_way", "y ~ A + B + x", "n"),
    "txhousing": ("txhousing", "inventory ~ sales * date * year", ""),
    "wampler2": ("wampler2", "y ~ x + x2 + x3 + x4 + x5", ""),
    "wampler4": ("wampler4", "y ~ x + x2 + x3 + x4 + x5", ""),
}


def dense_columns(columns, rows):
    dense = [[Fraction(0)] * len(rows) for _ in columns]
    for i, row in enumerate(rows):
        for k, value in design.design_row(columns, row, Fraction):
            dense[k][i] = value
    return dense


def fit_case(table, formula, frequency):
    rows = design.read_table(FOLDER / f"{table}.csv")
    model = design.parse(formula, design.text_columns(rows))
    columns = design.columns_of(model, rows)
    weights = [Fraction(row[frequency]) if frequency else Fraction(1) for row in rows]
    y = [Fraction(row[model.dependent]) for row in rows]
    fit = rational.least_squares(dense_columns(columns, rows), y, model.intercept, weights)
    options = ["--freq-weight", frequency] if frequency else []
    return {
        **case_file.describe("linear", f"linear/{table}.csv", formula, options, model),
        "n": len(rows),
        "labels": [{"term": term.text() or "(Intercept)", "levels": cell}
                   for term, cell in columns],
        "estimates": [float(v) for v in fit.estimates],
        "redundant": [k not in fit.kept for k in range(len(columns))],
        "unscaled_variance": [float(v) for v in fit.variances],
        "rmse": rational.square_root(fit.residual / sum(weights)),
        "r_square": float(fit.r_square),
        "sse": float(fit.residual),
    }


def main():
    for name, case in CASES.items():
        fit = fit_case(*case)
        case_file.write(FOLDER / f"{name}.json", fit)
        print(f"{name}: {fit['redundant'].count(False)} of {len(fit['labels'])} columns kept, "
              f"R square {fit['r_square']}")


if __name__ == "__main__":
    main()
