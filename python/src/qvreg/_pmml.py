"""Models as PMML 4.4: what other engines score with, and, exactly, all that the command and this package keep.

``docs/models.md`` describes the document.
"""

from __future__ import annotations

import json
from ctypes import c_size_t
from typing import Any

import numpy as np

from . import _library as lib
from . import _xml
from ._fit_json import MadeOf, fit_json, parameter_labels
from ._model_text import Tree, add_extension, component_of, node_of, tree_of
from ._number_text import number_text, read_number, read_whole, read_wholes
from ._pmml_fields import add_fields, add_mining_fields
from ._pmml_units import DataEstimates, Units, numbers_of, to_data, units_of
from ._pmml_units import node_of as node_of_units
from ._pmml_variables import Reader, SavedTable, add_table, column_of, read_table
from ._xml import Element
from .errors import DataError, QvregError

VERSION = "4.4"
FORMAT = 1
_SPACE = "http://www.dmg.org/PMML-4_4"
_MODEL = "GeneralRegressionModel"


# ---- Writing ------------------------------------------------------------------


def document(component: lib.Handle, table: SavedTable, fit: dict) -> bytes:
    """The document of a component, its variables and the JSON of its fit."""
    pmml = _pmml_of(component, table, fit, lib.version())
    pmml.add("Extension", extender="qvreg", name="sha256", value=_xml.digest(pmml))
    data = _xml.written(pmml)
    if len(data) > _xml.MOST_BYTES:
        raise QvregError(f"The model takes {len(data)} bytes as PMML, and no more than {_xml.MOST_BYTES} are read "
                         "again. Fit fewer parameters, or save under a name that does not end in .pmml or .xml.")
    return data


def _pmml_of(component: lib.Handle, table: SavedTable, fit: dict, version: str) -> Element:
    """The document without its digest."""
    pmml = Element("PMML", {"xmlns": _SPACE, "version": VERSION})
    pmml.add("Header", description=fit["formula"]).add("Application", name="qvreg", version=version)
    add_fields(pmml, table)
    _add_model(pmml, component, table, fit)
    pmml.add("Extension", extender="qvreg", name="format", value=str(FORMAT))
    parts = pmml.add("Extension", extender="qvreg", name="model")
    add_table(parts, table)
    # The text that was read, where it was read: other versions format it otherwise.
    parts.add("Extension", extender="qvreg", name="fit").text = fit.get(_FIT_TEXT) or json.dumps(
        fit, indent=2, ensure_ascii=False, allow_nan=False) + "\n"
    return pmml


# Under which the JSON of a fit that was read keeps its text.
_FIT_TEXT = ""


def made_of(component: lib.Handle) -> list[MadeOf]:
    """What the parameters of one equation are made of."""
    described = lib.make("parameters", "results_get_parameters", _results(component))
    made: list[MadeOf] = []
    first = None
    for index in range(lib.get(c_size_t, "parameters_get_count", described)):
        info = lib.get(lib.ParameterInfo, "parameters_get_info", described, c_size_t(index))
        first = info.target_category if first is None else first
        if info.target_category != first:
            break
        variables, codes, _ = lib.get_arrays((np.int32,) * 3, "parameters_get_factors", described, c_size_t(index))
        covariates, powers = lib.get_arrays((np.int32,) * 2, "parameters_get_covariates", described, c_size_t(index))
        made.append((dict(zip(variables.tolist(), codes.tolist())), dict(zip(covariates.tolist(), powers.tolist()))))
    return made


def _results(component: lib.Handle) -> lib.Handle:
    return lib.make("results", "component_get_results", component)


def _add_model(pmml: Element, component: lib.Handle, table: SavedTable, fit: dict) -> None:
    tree = tree_of(component)
    data, units = to_data(tree, component)
    made = made_of(component)
    rows = _rows(component, tree, table, len(made))
    model = pmml.add(_MODEL, functionName="regression" if tree.is_linear else "classification",
                     modelType="generalLinear" if tree.is_linear else "multinomialLogistic",
                     targetVariableName=table.variables[0].field)
    if not tree.is_linear:
        model.attributes["targetReferenceCategory"] = _levels(component, table)[-1]
    if units.degrees_of_freedom is not None:
        model.attributes["modelDF"] = number_text(units.degrees_of_freedom)
    add_mining_fields(model.add("MiningSchema"), table, fit["freq_weight"] or "", fit["regression_weight"] or "")
    _add_parameters(model, [parameter["label"] for parameter in fit["parameters"][:len(made)]])
    _add_predictors(model, tree, table)
    _add_cells(model, made, table)
    _add_covariance(model, rows, data)
    kept = read_wholes(tree["numbers"]["kept"].text)
    matrix = model.add("ParamMatrix")
    for place, (row, estimate) in enumerate(zip(rows, data.estimates)):
        named = {"targetCategory": row[1]} if row[1] is not None else {}
        matrix.add("PCell", **named, parameterName=row[0], beta=number_text(estimate), df=str(kept[place % len(made)]))
    for part in [part for part in tree.parts if part.name != "numbers"] + [node_of_units(units)]:
        add_extension(model, part)


def _levels(component: lib.Handle, table: SavedTable) -> list[str]:
    """The levels of the dependent that occur, the reference last."""
    codes = lib.get_arrays((np.int32, np.float64), "logistic_get_categories", _results(component))[0]
    return [(table.variables[0].levels or [])[code] for code in codes]


def _rows(component: lib.Handle, tree: Tree, table: SavedTable, width: int) -> list[tuple[str, str | None]]:
    """The parameters of all equations, each with the level of its equation."""
    levels = [None] if tree.is_linear else _levels(component, table)[:-1]
    return [(f"p{index}", level) for level in levels for index in range(width)]


def _add_parameters(model: Element, labels: list[str]) -> None:
    parameters = model.add("ParameterList")
    for index, label in enumerate(labels):
        parameters.add("Parameter", name=f"p{index}", label=label)


def _add_predictors(model: Element, tree: Tree, table: SavedTable) -> None:
    for list_name, setting in (("FactorList", "factors"), ("CovariateList", "covariates")):
        added = model.add(list_name)
        for position in read_wholes(tree["settings"][setting].text):
            variable = table.at(position)
            if variable is not None:
                added.add("Predictor", name=variable.field)


def _add_cells(model: Element, made: list[MadeOf], table: SavedTable) -> None:
    matrix = model.add("PPMatrix")
    for index, (codes, powers) in enumerate(made):
        cells = [((table.at(position).levels or [])[code], position) for position, code in codes.items()]
        cells += [(str(power), position) for position, power in powers.items()]
        for value, position in cells:
            matrix.add("PPCell", value=value, predictorName=table.at(position).field, parameterName=f"p{index}")


def _add_covariance(model: Element, rows: list[tuple[str, str | None]], data: DataEstimates) -> None:
    if not len(data.covariance):
        return
    matrix = model.add("PCovMatrix", type="model")
    elements = iter(data.covariance)
    for i, (row, row_level) in enumerate(rows):
        for column, column_level in rows[:i + 1]:
            named = {} if row_level is None else {"tRow": row_level, "tCol": column_level}
            matrix.add("PCovCell", pRow=row, pCol=column, **named, value=number_text(next(elements)))


# ---- Reading ------------------------------------------------------------------


# What damaged parts of a document run into.
_FAULTS = (ValueError, KeyError, IndexError, TypeError, StopIteration, AttributeError, OverflowError, RecursionError,
           lib.LibraryError)


class ReadModel:
    """What a document holds.

    Attributes
    ----------
    component : Handle
        The model of the library.
    tree : Tree
        The same as named numbers.
    table : SavedTable
        Its variables.
    fit : dict
        The JSON of its fit.
    """

    def __init__(self, data: bytes, name: str) -> None:
        pmml = _xml.read(data, name)
        _check_root(pmml, name)
        _check_digest(pmml, name)
        try:
            self._read(pmml)
            computed = self._computed()
            if computed is None:
                self._require_same(pmml)
        except _FAULTS as error:
            raise DataError(f"{name} is no model that save() or 'qvreg fit --save' wrote: {_reason(error)}. Fit the "
                            "model again, and save it.") from error
        if computed is not None:
            raise DataError(f"{name} has the variable {computed!r}, which the command computes of its columns by "
                            "functions of its own. Score it by 'qvreg score', or fit a model of a column of these "
                            "values.")

    def _computed(self) -> str | None:
        """A predictor that is no column and no scaled one; None without any."""
        return next((variable.label for variable in self.table.predictors
                     if [column_of(variable.expression)] != variable.columns), None)

    def _read(self, pmml: Element) -> None:
        reader = Reader(_own(pmml, "model").children)
        self.table = read_table(reader)
        text = reader.element("fit").text
        reader.end("fit")
        self.fit = json.loads(text)
        self.fit[_FIT_TEXT] = text
        model = pmml.child(_MODEL)
        extensions = [child for child in model.children if child.name == "Extension"]
        units = units_of(node_of(extensions.pop()))
        self.tree = Tree(parts=[node_of(child) for child in extensions])
        data, kept = _estimates(model)
        if self.tree.is_linear:
            kept.append(False)
        else:
            kept = kept[:len(model.child("ParameterList").children)]
        self.tree.parts.append(numbers_of(data, units, kept, self.tree.is_linear))
        self.component = component_of(self.tree)
        _require_together(self.table, self.tree)

    def _require_same(self, pmml: Element) -> None:
        """What other engines read is what the exact numbers are."""
        version = pmml.child("Header").child("Application").get("version")
        own = _pmml_of(self.component, self.table, self.fit, version)
        for expected, read in zip(own.children, pmml.children):
            if expected != read:
                raise ValueError(f"its element {expected.name} is not that of the model's numbers")
        if len(own.children) != len(pmml.children):
            raise ValueError("it has other elements")


def _require_together(table: SavedTable, tree: Tree) -> None:
    """A ValueError for variables that are not those of the component's records."""
    settings = tree["settings"]
    sizes = dict(zip(read_wholes(settings["factors"].text), read_wholes(settings["levels"].text)))
    covariates = set(read_wholes(settings["covariates"].text))
    for variable in table.predictors:
        is_right = (sizes.get(variable.position) == max(len(variable.levels or []), 1) if variable.is_factor
                    else variable.position in covariates)
        if not is_right:
            raise ValueError("its variables are not those of its numbers")


def _reason(error: Exception) -> str:
    if isinstance(error, lib.LibraryError):
        return "its numbers do not fit together"
    text = str(error)
    return text if text.startswith("its ") else "it lacks what belongs there" + (f" ({text})" if text else "")


def _own(pmml: Element, name: str) -> Element | None:
    return next((child for child in pmml.children if child.name == "Extension"
                 and child.get("extender") == "qvreg" and child.get("name") == name), None)


def _altered(name: str) -> DataError:
    return DataError(f"{name} was changed since it was saved: its content is not that of its digest; take the file "
                     "as it was saved, or fit the model again.")


def _check_root(pmml: Element, name: str) -> None:
    if pmml.name != "PMML":
        raise DataError(f"{name} is no PMML: its root is the element '{pmml.name}'.")
    format_element = _own(pmml, "format")
    if format_element is None:
        application = (pmml.child("Header") or Element("")).child("Application") or Element("")
        producer = application.get("name")
        if producer == "qvreg":
            raise _altered(name)
        of_whom = f"of {producer!r}" if producer else "of another producer"
        raise DataError(f"{name} is PMML {of_whom}, which is not read: it lacks what save() and 'qvreg fit --save' "
                        "write beside the standard.")
    try:
        number, version = read_whole(format_element.get("value")), read_number(pmml.get("version"))
    except ValueError:
        raise _altered(name) from None
    if number > FORMAT or version > float(VERSION):
        what = f"a model of format {number}" if number > FORMAT else f"PMML {pmml.get('version')}"
        raise DataError(f"{name} is {what}, which this version of qvreg ({lib.version()}) does not read; use the "
                        "version that saved it.")


def _check_digest(pmml: Element, name: str) -> None:
    """Takes the digest off the document, of which it must be."""
    element = _own(pmml, "sha256")
    if element is None or element is not pmml.children[-1] or element.children or element.text:
        raise _altered(name)
    pmml.children.pop()
    if element.get("value") != _xml.digest(pmml):
        raise _altered(name)


def _estimates(model: Element) -> tuple[DataEstimates, list[bool]]:
    cells = model.child("ParamMatrix").children
    estimates = np.array([read_number(cell.get("beta")) for cell in cells], np.float64)
    matrix = model.child("PCovMatrix")
    covariance = np.array([read_number(cell.get("value")) for cell in matrix.children] if matrix else [], np.float64)
    return DataEstimates(estimates, covariance), [bool(read_whole(cell.get("df"))) for cell in cells]
