"""Results saved as PMML, and read of it: those of this package, and of models that the command has saved."""

from __future__ import annotations

import json
import warnings
from typing import Any

import numpy as np

from . import _pmml
from ._fit import Fit, Layout
from ._fit_json import fit_json
from ._model import Extras, Model
from ._model_text import component_of, tree_of
from ._named import NamedDesign, NamedFormula
from ._pmml_model import table_of
from ._pmml_variables import SavedTable
from .errors import DataError, DataWarning

# The member of the fit's JSON that has what this package alone knows of a model.
_OWN = "python"


def to_pmml(results: Any) -> bytes:
    """The document of `results`."""
    model, fit = results.model, results._fit
    if isinstance(model.formula, NamedFormula):
        table, component, described = model.formula.table, fit.component, dict(model.formula.described)
    else:
        table = table_of(model)
        tree = tree_of(fit.component)
        last = model.layout.dependent
        tree.move(lambda position: _from_python(position, last))
        component = component_of(tree)
        described = fit_json(results, table, _pmml.made_of(component))
    described[_OWN] = json.dumps({"model": model.to_dict(), "extras": results._extras.to_dict()})
    return _pmml.document(component, table, described)


def _from_python(position: int, dependent: int) -> int:
    """The command has the dependent first, this package behind the predictors."""
    return 0 if position == dependent else position + 1 if position < dependent else position


def _to_python(position: int, dependent: int) -> int:
    return dependent if position == 0 else position - 1 if position <= dependent else position


def of_pmml(data: bytes, name: str) -> tuple[Model, Fit, Extras]:
    """What a document holds. `name` is what messages call it."""
    read = _pmml.ReadModel(data, name)
    if _OWN in read.fit:
        return _of_python(read, name)
    model = named_model(read.table, read.fit)
    design = model.formula.design
    fit = Fit(design, model.layout, read.component)
    return model, fit, _extras(read, fit, name)


def _of_python(read: _pmml.ReadModel, name: str) -> tuple[Model, Fit, Extras]:
    try:
        own = json.loads(read.fit[_OWN])
        model = Model.from_dict(own["model"])
        extras = Extras.from_dict(own["extras"])
    except (ValueError, KeyError, TypeError) as error:
        raise DataError(f"{name} is no model that save() wrote: {error}. Fit the model again, and save it.") from error
    if isinstance(model.formula, NamedFormula):
        return model, Fit(model.formula.design, model.layout, read.component), extras
    read.tree.move(lambda position: _to_python(position, model.layout.dependent))
    return model, Fit(model.formula.design, model.layout, component_of(read.tree)), extras


def named_model(table: SavedTable, described: dict) -> Model:
    """The model of a command's variables and the JSON of its fit."""
    formula = NamedFormula(table, described)
    classes = formula.classes
    kind = "ols" if classes is None else "logit" if len(formula.observed) == 2 else "mnlogit"
    weights = {use: variable for variable in table.variables if variable.is_weight
               for use, label in (("weights", described["regression_weight"]),
                                  ("freq_weights", described["freq_weight"])) if label == variable.label}
    layout = Layout(0, **{use: variable.position for use, variable in weights.items()})
    return Model(kind, formula, classes, layout, {use: variable.columns[0] for use, variable in weights.items()})


def _extras(read: _pmml.ReadModel, fit: Fit, name: str) -> Extras:
    covariance = read.fit["covariance"]["type"]
    notes = []
    if covariance != "model":
        notes.append(f"its errors were those of --vcov {covariance}, of which the file has no matrix")
    if read.fit["imposed_degrees_of_freedom"]:
        notes.append("its degrees of freedom were given by --df")
    if notes:
        warnings.warn(f"{name}: {' and '.join(notes)}; here they are those of the model.", DataWarning, stacklevel=5)
    extras = Extras()
    if fit.is_linear and fit.layout.weights is not None:
        # The log-likelihood is that of equal weights and half of this.
        extras.sum_log_weights = _sum_log_weights(read.fit["fit"]["log_likelihood"], fit)
    return extras


def _sum_log_weights(log_likelihood: float | None, fit: Fit) -> float:
    from ._linear_results import normal_log_likelihood, residual_sum

    if log_likelihood is None:
        return np.nan
    return 2.0 * (log_likelihood - normal_log_likelihood(fit.total_weight, residual_sum(fit)))
