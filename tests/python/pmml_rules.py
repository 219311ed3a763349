"""The rules of PMML 4.4 (its XML Schema and text) for the elements that a saved regression has: what
stands in what, in which order and how often, with which attributes; and that names lead somewhere."""

import re
import xml.etree.ElementTree as tree

SPACE = "{http://www.dmg.org/PMML-4_4}"
ANY = None  # As often as wanted.

NUMBER = r"[-+]?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?|-?INF|NaN"
WHOLE = r"[-+]?\d+"
TEXT = r"(?s).*"
TYPES = "string|integer|float|double|boolean|date|time|dateTime"
USES = "active|predicted|target|supplementary|group|order|frequencyWeight|analysisWeight"
EXPRESSION = "Constant|FieldRef|Apply"
EXTENSION = ("Extension", 0, ANY)

# Of each element: its children in order, with how often, and its attributes, ! for those it must have.
RULES = {
    "PMML": ([("Header", 1, 1), ("DataDictionary", 1, 1), ("TransformationDictionary", 0, 1),
              ("GeneralRegressionModel", 0, ANY), EXTENSION], {"version!": r"4\.4"}),
    "Header": ([EXTENSION, ("Application", 0, 1)], {"description": TEXT, "copyright": TEXT}),
    "Application": ([EXTENSION], {"name!": TEXT, "version": TEXT}),
    "DataDictionary": ([EXTENSION, ("DataField", 1, ANY)], {"numberOfFields": WHOLE}),
    "DataField": ([EXTENSION, ("Value", 0, ANY)],
                  {"name!": TEXT, "optype!": "categorical|ordinal|continuous", "dataType!": TYPES}),
    "Value": ([EXTENSION], {"value!": TEXT}),
    "TransformationDictionary": ([EXTENSION, ("DerivedField", 0, ANY)], {}),
    "DerivedField": ([EXTENSION, (EXPRESSION, 1, 1), ("Value", 0, ANY)],
                     {"name": TEXT, "optype!": "categorical|ordinal|continuous",
                      "dataType!": TYPES}),
    "Constant": ([], {"dataType": TYPES}),
    "FieldRef": ([EXTENSION], {"field!": TEXT}),
    "Apply": ([EXTENSION, (EXPRESSION, 0, ANY)], {"function!": TEXT}),
    "GeneralRegressionModel": (
        [EXTENSION, ("MiningSchema", 1, 1), ("ParameterList", 1, 1), ("FactorList", 0, 1),
         ("CovariateList", 0, 1), ("PPMatrix", 1, 1), ("PCovMatrix", 0, 1), ("ParamMatrix", 1, 1),
         EXTENSION],
        {"targetVariableName": TEXT, "modelType!": "generalLinear|multinomialLogistic",
         "functionName!": "regression|classification", "targetReferenceCategory": TEXT,
         "modelDF": NUMBER, "modelName": TEXT, "algorithmName": TEXT}),
    "MiningSchema": ([EXTENSION, ("MiningField", 1, ANY)], {}),
    "MiningField": ([EXTENSION], {"name!": TEXT, "usageType": USES}),
    "ParameterList": ([EXTENSION, ("Parameter", 0, ANY)], {}),
    "Parameter": ([EXTENSION], {"name!": TEXT, "label": TEXT}),
    "FactorList": ([EXTENSION, ("Predictor", 0, ANY)], {}),
    "CovariateList": ([EXTENSION, ("Predictor", 0, ANY)], {}),
    "Predictor": ([EXTENSION], {"name!": TEXT}),
    "PPMatrix": ([EXTENSION, ("PPCell", 0, ANY)], {}),
    "PPCell": ([EXTENSION], {"value!": TEXT, "predictorName!": TEXT, "parameterName!": TEXT}),
    "PCovMatrix": ([EXTENSION, ("PCovCell", 1, ANY)], {"type": "model|robust"}),
    "PCovCell": ([EXTENSION], {"pRow!": TEXT, "pCol!": TEXT, "tRow": TEXT, "tCol": TEXT,
                               "value!": NUMBER}),
    "ParamMatrix": ([EXTENSION, ("PCell", 0, ANY)], {}),
    "PCell": ([EXTENSION], {"targetCategory": TEXT, "parameterName!": TEXT, "beta!": NUMBER,
                            "df": WHOLE}),
}

FUNCTIONS = set("+ - * / min max ln log10 exp sqrt abs pow floor ceil expm1 ln1p sin cos tan asin "
                "acos atan sinh cosh tanh isNotMissing equal notEqual lessThan lessOrEqual "
                "greaterThan greaterOrEqual and or not isIn isNotIn if".split())


def name_of(element):
    assert element.tag.startswith(SPACE), f"{element.tag} is in another namespace"
    return element.tag[len(SPACE):]


def check_children(element, children):
    """That the children are those of the rule, in its order."""
    names = [name_of(child) for child in element]
    at = 0
    for wanted, least, most in children:
        count = 0
        while at < len(names) and names[at] in wanted.split("|") and count != most:
            at, count = at + 1, count + 1
        assert count >= least, f"{name_of(element)} has {count} {wanted}, needs {least}"
    assert at == len(names), f"{name_of(element)} may not have {names[at]} as child {at}"


def check_attributes(element, attributes):
    rules = {key.rstrip("!"): rule for key, rule in attributes.items()}
    for key, value in element.attrib.items():
        assert key in rules, f"{name_of(element)} has no attribute {key}"
        assert re.fullmatch(rules[key], value), f"{name_of(element)}: {key} cannot be {value!r}"
    for key in attributes:
        assert not key.endswith("!") or key[:-1] in element.attrib, f"{name_of(element)} needs {key}"


def check_form(element):
    """The form of an element and of all in it. What is in an Extension is free."""
    if name_of(element) == "Extension":
        assert set(element.attrib) <= {"extender", "name", "value"}, element.attrib
        return
    children, attributes = RULES[name_of(element)]
    check_children(element, children)
    check_attributes(element, attributes)
    for child in element:
        check_form(child)


def names_in(root, path, attribute="name"):
    names = [element.get(attribute) for element in root.iterfind("/".join(
        SPACE + part if part.isalpha() else part for part in path.split("/")))]
    return names


def check_references(root):
    """That every name is that of one thing, and every reference leads to a name."""
    data = names_in(root, "DataDictionary/DataField")
    derived = names_in(root, "TransformationDictionary/DerivedField")
    fields = data + derived
    assert len(set(fields)) == len(fields), "two fields have one name"
    model = "GeneralRegressionModel/"
    mined = names_in(root, model + "MiningSchema/MiningField")
    assert len(set(mined)) == len(mined), "a field is mined twice"
    assert set(mined) <= set(data), "what is mined is no field of the data"
    parameters = names_in(root, model + "ParameterList/Parameter")
    assert len(set(parameters)) == len(parameters)
    predictors = names_in(root, model + "FactorList/Predictor") + \
        names_in(root, model + "CovariateList/Predictor")
    assert len(set(predictors)) == len(predictors)
    uses = dict(zip(mined, names_in(root, model + "MiningSchema/MiningField", "usageType")))
    active = {name for name, use in uses.items() if use == "active"}
    assert set(predictors) <= active | set(derived), "a predictor is no field"
    read = set(names_in(root, "TransformationDictionary/DerivedField//FieldRef", "field"))
    read |= {e.get("field") for e in root.iter(SPACE + "FieldRef")}
    assert read <= active, f"fields are read that are not mined: {read - active}"
    assert [name for name, use in uses.items() if use == "target"] == \
        names_in(root, "GeneralRegressionModel", "targetVariableName")
    assert set(names_in(root, model + "PPMatrix/PPCell", "predictorName")) <= set(predictors)
    for path, attribute in (("PPMatrix/PPCell", "parameterName"), ("PCovMatrix/PCovCell", "pRow"),
                            ("PCovMatrix/PCovCell", "pCol"), ("ParamMatrix/PCell", "parameterName")):
        assert set(names_in(root, model + path, attribute)) <= set(parameters), path
    assert {e.get("function") for e in root.iter(SPACE + "Apply")} <= FUNCTIONS


def check_categories(root):
    """That levels are those of their fields, and target categories those of the target."""
    values = {field.get("name"): [value.get("value") for value in field.iter(SPACE + "Value")]
              for kind in ("DataField", "DerivedField") for field in root.iter(SPACE + kind)}
    model = root.find(SPACE + "GeneralRegressionModel")
    factors = set(names_in(model, "FactorList/Predictor"))
    for cell in model.iter(SPACE + "PPCell"):
        if cell.get("predictorName") in factors:
            assert cell.get("value") in values[cell.get("predictorName")], cell.attrib
        else:
            assert float(cell.get("value")) >= 1, cell.attrib
    categories = {cell.get("targetCategory") for cell in model.iter(SPACE + "PCell")}
    if model.get("modelType") == "generalLinear":
        assert categories == {None} and model.get("functionName") == "regression"
        return
    levels = values[model.get("targetVariableName")]
    reference = model.get("targetReferenceCategory")
    assert model.get("functionName") == "classification"
    assert reference in levels and reference not in categories
    assert categories < set(levels)


def read(file):
    """The root of a document that keeps all of these rules."""
    root = tree.parse(file).getroot()
    assert name_of(root) == "PMML"
    check_form(root)
    check_references(root)
    check_categories(root)
    dictionary = root.find(SPACE + "DataDictionary")
    assert int(dictionary.get("numberOfFields")) == len(dictionary)
    return root
