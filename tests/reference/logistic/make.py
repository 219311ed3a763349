#!/usr/bin/env python3
"""Reference fits of the multinomial logistic model.

    tests/reference/logistic/make.py [NAME...]

reads data/*.csv and writes fits/NAME.json for every case in cases.py, or for those named, and
separation/NAME.json for those without a fit; extremes/NAME.json for the extreme ones of either
kind. The README one folder up explains the keys. Python's
own library only.
"""

import json
import pathlib
import sys
from decimal import Decimal

import cases
import design
import newton

FOLDER = pathlib.Path(__file__).resolve().parent
CLOSE = Decimal("1e-6")


def observed_categories(case, model, table, rows):
    """The dependent's observed levels, the reference last: the level asked for; the first or the
    last observed one; the last one, too, when the level asked for was not observed."""
    levels = [level for level in design.in_order({row[model.dependent] for row in table} - {""})
              if any(row[model.dependent] == level for row in rows)]
    asked = case.reference
    reference = levels[0] if asked == "first" else asked if asked in levels else levels[-1]
    return [level for level in levels if level != reference] + [reference]


def category_sums(values, codes, categories):
    return [sum(value for value, code in zip(values, codes) if code == j)
            for j in range(categories)]


def starting_values(model, shares, columns):
    """The logs of the ratios of the categories' weights for the intercepts, 0 for the rest."""
    start = [newton.ZERO] * ((len(shares) - 1) * columns)
    if model.intercept:
        for j, share in enumerate(shares[:-1]):
            start[j * columns] = (share / shares[-1]).ln()
    return start


def classify(likelihood, beta, rows, shares):
    """Rows observed, columns predicted, sums of the frequencies. A record whose design values are
    all 0 is predicted by no parameter and goes to the most frequent category; anything else that
    rounding could decide stops the script."""
    table = [[newton.ZERO] * len(shares) for _ in shares]
    for row, category, frequency in rows:
        choice = likelihood.predictors(beta, row) if row else shares
        ranked = sorted(choice)
        if ranked[-1] - ranked[-2] < CLOSE:
            raise ArithmeticError("two categories are predicted alike")
        table[category][choice.index(ranked[-1])] += frequency
    return table


def label_of(column, category):
    term, cell = column
    return {"term": term.text() or "(Intercept)", "levels": cell, "category": category}


def scatter(values, kept, columns, blocks):
    """Values of the kept columns in their places, 0 in the others."""
    full = [newton.ZERO] * (columns * blocks)
    for j in range(blocks):
        for place, k in enumerate(kept):
            full[j * columns + k] = values[j * len(kept) + place]
    return [float(value) for value in full]


def describe(case, model):
    """What is fitted."""
    return {
        "kind": "logistic",
        "data": f"data/{case.data}.csv",
        "formula": case.formula,
        "options": case.options(),
        "dependent": model.dependent,
        "intercept": model.intercept,
        "terms": [vars(term) for term in model.terms],
    }


def fit_case(case):
    table = design.read_table(FOLDER / "data" / f"{case.data}.csv")
    model = design.parse(case.formula, design.text_columns(table))
    used = design.used_rows(table, model, case.weights())
    categories = observed_categories(case, model, table, used)
    columns = design.columns_of(model, used)
    rows = [design.design_row(columns, row) for row in used]
    kept = design.kept_columns(rows, len(columns))
    place = {k: i for i, k in enumerate(kept)}
    rows = [tuple((place[k], x) for k, x in row if k in place) for row in rows]

    codes = [categories.index(row[model.dependent]) for row in used]
    frequency = [Decimal(row[case.freq]) if case.freq else newton.ONE for row in used]
    weight = [f * Decimal(row[case.regr]) if case.regr else f for f, row in zip(frequency, used)]
    shares = category_sums(frequency, codes, len(categories))
    start_shares = category_sums(weight, codes, len(categories))
    likelihood = newton.Likelihood(zip(rows, codes, weight), len(categories), len(kept))
    fit = newton.maximise(likelihood, starting_values(model, start_shares, len(kept)))
    counts = classify(likelihood, fit.estimates, zip(rows, codes, frequency), shares)

    blocks = len(categories) - 1
    cox_snell = 1 - (2 * (fit.loglik_initial - fit.loglik) / sum(weight)).exp()
    return {
        **describe(case, model),
        "n": len(used),
        "categories": categories,
        "reference": categories[-1],
        "labels": [label_of(column, level) for level in categories[:-1] for column in columns],
        "estimates": scatter(fit.estimates, kept, len(columns), blocks),
        "redundant": [k not in place for k in range(len(columns))] * blocks,
        "standard_errors": scatter([v.sqrt() for v in fit.variances], kept, len(columns), blocks),
        "loglik_initial": float(fit.loglik_initial),
        "loglik": float(fit.loglik),
        "cox_snell": float(cox_snell),
        "nagelkerke": float(cox_snell / (1 - (2 * fit.loglik_initial / sum(weight)).exp())),
        "mcfadden": float(1 - fit.loglik / fit.loglik_initial),
        "classification": [[float(count) for count in row] for row in counts],
    }, fit.iterations


def to_text(value):
    """One entry a line, so that a changed number shows as one line."""
    lines = []
    for key, entry in value.items():
        if isinstance(entry, list) and entry:
            inner = ",\n".join(f"  {json.dumps(item)}" for item in entry)
            lines.append(f" {json.dumps(key)}: [\n{inner}\n ]")
        else:
            lines.append(f" {json.dumps(key)}: {json.dumps(entry)}")
    return "{\n" + ",\n".join(lines) + "\n}\n"


def write_no_fit(case):
    table = design.read_table(FOLDER / "data" / f"{case.data}.csv")
    model = design.parse(case.formula, design.text_columns(table))
    text = to_text(describe(case, model) | {"outcome": case.outcome, "why": case.why})
    (FOLDER / "separation" / f"{case.name}.json").write_text(text, encoding="ascii")


def write_separated(case):
    table = design.read_table(FOLDER / "data" / f"{case.data}.csv")
    model = design.parse(case.formula, design.text_columns(table))
    text = to_text(describe(case, model) | {"outcome": case.outcome})
    (FOLDER / "extremes" / f"{case.name}.json").write_text(text, encoding="ascii")


def main():
    wanted = sys.argv[1:]
    for case in cases.NO_FITS:
        write_no_fit(case)
    for case in cases.CASES + cases.EXTREMES:
        if wanted and case.name not in wanted:
            continue
        if getattr(case, "outcome", 0) != 0:
            write_separated(case)
            continue
        fit, iterations = fit_case(case)
        folder = "extremes" if isinstance(case, cases.Extreme) else "fits"
        path = FOLDER / folder / f"{case.name}.json"
        path.write_text(to_text(fit), encoding="ascii")
        print(f"{case.name:28} n {fit['n']:5}  K {len(fit['categories'])}  "
              f"parameters {len(fit['estimates']):3}  redundant {sum(fit['redundant']):3}  "
              f"McFadden {fit['mcfadden']:.6f}  iterations {iterations}", flush=True)


if __name__ == "__main__":
    main()
