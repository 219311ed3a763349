#!/usr/bin/env python3
"""Reference fits of the multinomial logistic model.

    tests/reference/logistic/make.py [NAME...]

reads data/*.csv and writes fits/NAME.json for every case in cases.py, or for those named, and
separation/NAME.json for those without a fit; the extreme ones of either kind go to extremes/maxima
and extremes/separated. The README one folder up explains the keys. Python's own library only.
"""

import pathlib
import sys
from decimal import Decimal

import cases
import newton

FOLDER = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))
import case_file  # noqa: E402
import design  # noqa: E402

CLOSE = Decimal("1e-6")


def observed_categories(case, model, table, rows):
    """The dependent's observed levels, the reference last: the level asked for; the first or the
    last observed one; the last one, too, when the level asked for was not observed."""
    levels = [level for level in design.in_order({row[model.dependent] for row in table} - {""})
              if any(row[model.dependent] == level for row in rows)]
    asked = case.reference
    reference = levels[0] if asked == "first" else asked if asked in levels else levels[-1]
    return [level for level in levels if level != reference] + [reference]


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


def read_case(case):
    """The table, the model, and what the file says of them."""
    table = design.read_table(FOLDER / "data" / f"{case.data}.csv")
    model = design.parse(case.formula, design.text_columns(table))
    return table, model, case_file.describe("logistic", f"logistic/data/{case.data}.csv",
                                            case.formula, case.options(), model)


def fit_case(case):
    table, model, description = read_case(case)
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
    likelihood = newton.Likelihood(zip(rows, codes, weight), len(categories), len(kept))
    start = newton.starting_values(newton.category_sums(weight, codes, len(categories)), len(kept),
                                   model.intercept)
    fit = newton.maximise(likelihood, start)
    counts = newton.classification(likelihood, fit.estimates, zip(rows, codes, frequency),
                                   newton.category_sums(frequency, codes, len(categories)), CLOSE)
    if counts is None:
        raise ArithmeticError("two categories are predicted alike")

    blocks = len(categories) - 1
    cox_snell, nagelkerke, mcfadden = newton.pseudo_r_squares(fit.loglik_initial, fit.loglik,
                                                              sum(weight))
    return {
        **description,
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
        "nagelkerke": float(nagelkerke),
        "mcfadden": float(mcfadden),
        "classification": [[float(count) for count in row] for row in counts],
    }, fit.iterations


def write_without_fit(case, folder, *more):
    """A case that has no maximum; `more` are keys besides its outcome."""
    _, _, description = read_case(case)
    keys = {key: getattr(case, key) for key in ("outcome", *more)}
    case_file.write(FOLDER / folder / f"{case.name}.json", description | keys)


def main():
    wanted = sys.argv[1:]
    for case in cases.NO_FITS:
        write_without_fit(case, "separation", "why")
    for case in cases.CASES + cases.EXTREMES:
        if wanted and case.name not in wanted:
            continue
        if getattr(case, "outcome", 0) != 0:
            write_without_fit(case, "extremes/separated")
            continue
        fit, iterations = fit_case(case)
        folder = "extremes/maxima" if isinstance(case, cases.Extreme) else "fits"
        case_file.write(FOLDER / folder / f"{case.name}.json", fit)
        print(f"{case.name:28} n {fit['n']:5}  K {len(fit['categories'])}  "
              f"parameters {len(fit['estimates']):3}  redundant {sum(fit['redundant']):3}  "
              f"McFadden {fit['mcfadden']:.6f}  iterations {iterations}", flush=True)


if __name__ == "__main__":
    main()
