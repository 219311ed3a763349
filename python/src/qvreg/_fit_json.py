"""The JSON of a fit, as the command writes and reads it beside the model."""

from __future__ import annotations

from typing import Any

import numpy as np

from . import _distributions as dist
from . import _library as lib
from ._pmml_variables import SavedTable
from ._results import Results

_COVARIANCES = {"nonrobust": "model"}
_OUTCOMES = (
    ("not_finished", "Stopped after {}, not finished."),
    ("loglik_converged", "Converged after {}: the log-likelihood settled."),
    ("parameters_converged", "Converged after {}: the estimates settled."),
    ("both_converged", "Converged after {}: the log-likelihood and the estimates settled."),
    ("singular_information", "Stopped after {}: the information matrix is singular."),
    ("step_halving_failed", "Stopped after {}: no shorter step raised the log-likelihood enough."),
    ("max_iterations", "Stopped after {}, the most allowed, before the estimates settled."),
    ("complete_separation", "Stopped after {}: the levels are completely separated."),
    ("quasi_complete_separation", "Stopped after {}: the levels are quasi-completely separated."),
    ("no_iterations", "Nothing was iterated: the starting values are the estimates."),
)
_SEPARATIONS = {None: "none", "complete": "complete", "quasi-complete": "quasi"}


def _number(value: Any) -> float | None:
    """A number of JSON: none for what is not finite."""
    return float(value) if np.isfinite(value) else None


def _changed(value: float) -> float | None:
    return None if value == lib.MISSING_VALUE else _number(value)


def _whole(value: float) -> int:
    return int(value) if np.isfinite(value) else 0


# Of a parameter the codes of factors and the powers of covariates, each by its position in the records.
MadeOf = tuple[dict[int, int], dict[int, int]]


def parameter_labels(made_of: list[MadeOf], table: SavedTable) -> list[tuple[str, dict[str, str], dict[str, int]]]:
    """Of every parameter of an equation its label, its levels by factor and its covariates with their powers."""
    labels = []
    for codes, powers in made_of:
        factors = {table.plain_name(table.at(position)): table.at(position).levels[code]
                   for position, code in codes.items()}
        covariates = {table.at(position).label: power for position, power in powers.items()}
        pieces = [f"{factor}={level}" for factor, level in factors.items()]
        pieces += [name if power == 1 else f"I({name}^{power})" for name, power in covariates.items()]
        labels.append((":".join(pieces) or "(Intercept)", factors, covariates))
    return labels


def _parameters(results: Results, table: SavedTable, made_of: list[MadeOf]) -> list[dict]:
    fit = results._fit
    labels = parameter_labels(made_of, table)
    limits, p_values = results._limits(0.05), results._p_values(results._statistics)
    tested = {position: (results._standard_errors[i], results._statistics[i], p_values[i], *limits[i])
              for i, position in enumerate(fit.shown.tolist())}
    non_finite = lib.get_array(np.int32, "results_get_non_finite", fit.handle)
    parameters = []
    for position, estimate in enumerate(fit.all_estimates.ravel()):
        label, levels, covariates = labels[position % fit.width]
        numbers = [_number(value) for value in tested.get(position, [np.nan] * 5)]
        named = {} if fit.is_linear else {"category": table.variables[0].levels[fit.categories[position // fit.width]]}
        parameters.append({
            **named, "label": label, "levels": levels, "covariates": covariates, "estimate": _number(estimate),
            **dict(zip(("std_error", "statistic", "p_value", "conf_low", "conf_high"), numbers)),
            "redundant": position not in tested, "non_finite": bool(non_finite[position])})
    return parameters


def _linear_fit(results: Any) -> dict:
    """As the command has them: about 0 without an intercept, and with the residual variance as a parameter."""
    fit, df = results._fit, results.df_resid
    r_square, n_constants = fit.stat(lib.FIT_R_SQUARE), int(fit.design.has_intercept)
    tested, parameters = fit.estimates.size - n_constants, fit.estimates.size + 1
    with np.errstate(divide="ignore", invalid="ignore"):
        adjusted = 1.0 - (1.0 - r_square) * np.float64(results.nobs - n_constants) / df
        statistic = r_square / np.float64(1.0 - r_square) * df / np.float64(tested)
        error = np.sqrt(np.float64(results.mse_resid))
    has_test = df > 0 and tested > 0 and np.isfinite(statistic)
    return {"r_square": _number(r_square), "adjusted_r_square": _number(adjusted) if df > 0 else None,
            "rmse": _number(fit.stat(lib.FIT_RMSE)), "residual_std_error": _number(error),
            "f_statistic": _number(statistic) if has_test else None, "f_df": tested,
            "f_p_value": _number(dist.f_upper(statistic, tested, df)) if has_test else None,
            "log_likelihood": _number(results.llf), "aic": _number(2.0 * (parameters - results.llf)),
            "bic": _number(np.log(results.nobs) * parameters - 2.0 * results.llf)}


def _logistic_fit(results: Any) -> dict:
    fit = results._fit
    name, ending = _OUTCOMES[fit.outcome]
    summary = lib.get(lib.LogisticSummary, "logistic_get_summary", fit.handle)
    count = f"{fit.iterations} iteration{'' if fit.iterations == 1 else 's'}"
    return {"iterations": fit.iterations, "step_halvings": summary.step_halvings, "outcome": name,
            "outcome_code": fit.outcome, "ending": ending.format(count),
            "separation": _SEPARATIONS[results.separation], "converged": results.converged, "in_memory": False,
            "distinct_records": None, "loglik_initial": _number(fit.initial_log_likelihood),
            "loglik": _number(fit.log_likelihood), "loglik_change": _changed(summary.ll_change),
            "parameter_change": _changed(summary.param_change), "chi_square": _number(results.llr),
            "chi_square_df": _whole(results.df_model), "p_value": _number(results.llr_pvalue),
            "cox_snell": _number(fit.stat(lib.FIT_COX_SNELL)), "nagelkerke": _number(fit.stat(lib.FIT_NAGELKERKE)),
            "mcfadden": _number(fit.stat(lib.FIT_MCFADDEN)), "aic": _number(results.aic),
            "bic": _number(results.bic)}


def _categories(results: Any, table: SavedTable) -> dict:
    fit = results._fit
    levels = [table.variables[0].levels[code] for code in fit.categories]
    return {"reference": levels[-1],
            "dependent_levels": [{"level": level, "weight": float(weight)}
                                 for level, weight in zip(levels, fit.category_weights)],
            "classification": {"categories": levels, "table": fit.classification().tolist()}}


def _records(results: Results) -> dict:
    counts = results._fit.counts
    return {"read": counts.read, "used": counts.used, "left_out": 0, "missing": counts.missing,
            "bad_weight": counts.bad_weight, "held_out": 0, "digest": results._extras.digest, "missing_by_column": {},
            "missing_strings": []}


def _transformations(table: SavedTable) -> list[dict]:
    return [{"label": variable.label, "argument": variable.columns[0],
             "centre": float(np.ldexp(variable.scale.mean, variable.scale.exponent)),
             "deviation": None if variable.scale.deviation is None
             else float(np.ldexp(variable.scale.deviation, variable.scale.exponent))}
            for variable in table.variables if variable.scale is not None]


def fit_json(results: Results, table: SavedTable, made_of: list[MadeOf]) -> dict:
    """All that a report of the fit says."""
    fit = results._fit
    weights = {name: results.model.weight_columns.get(name, name)
               for name in ("weights", "freq_weights") if getattr(fit.layout, name) is not None}
    summary = lib.get(lib.Summary, "results_get_summary", fit.handle)
    code = int(lib.get(lib.Error, "component_get_status", fit.component).code)
    return {
        "model": "linear" if fit.is_linear else "logistic", "formula": results.model.formula.text,
        "data": "data in Python", "where": None, "dependent": table.variables[0].label,
        "freq_weight": weights.get("freq_weights"), "regression_weight": weights.get("weights"), "confidence": 0.95,
        "records": _records(results), "degrees_of_freedom": _number(results.df_resid),
        "library_degrees_of_freedom": _number(summary.degrees_of_freedom), "imposed_degrees_of_freedom": False,
        **({} if fit.is_linear else _categories(results, table)),
        "covariance": {"type": _COVARIANCES.get(results.cov_type, results.cov_type), "column": None, "clusters": None},
        "transformations": _transformations(table), "parameters": _parameters(results, table, made_of),
        "fit": _linear_fit(results) if fit.is_linear else _logistic_fit(results),
        "anova": None, "anova_asked": False, "effects": [], "collinearity": None, "margins": None,
        "reference_grid": None, "contrasts": [], "means": [], "influential": None, "validation": None,
        "files": {"predictions": None, "diagnostics": None, "covariance": None}, "warnings": [],
        "status": {"code": code, "message": lib.code_text(code) if code else "The model was fitted."}}
