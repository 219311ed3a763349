"""Models as PMML, between this package and the command: the same predictions to the last bit."""

import hashlib
import json
import pickle
import sys
import xml.etree.ElementTree as tree

import numpy as np
import pandas as pd
import pytest
import qvreg
from commands import ROOT, read_table, run, scores
from patsy import Treatment  # noqa: F401 (formulas use it)
from qvreg import _pmml, _xml
from qvreg._number_text import number_text, read_number
from references import Case, names_of_cases

sys.path.append(str(ROOT / "tests" / "python"))
import pmml_rules  # noqa: E402

PENGUINS = ROOT / "examples" / "data" / "penguins.csv"

FITS = {
    "linear": (qvreg.ols, "y ~ a*x + z", {}),
    "weights": (qvreg.ols, "y ~ C(k) + z - 1", {"weights": "w", "freq_weights": "count"}),
    "robust": (qvreg.ols, "y ~ flag*c", {"vcov": "hc1"}),
    "twice": (qvreg.ols, "y ~ C(k):x + k + C(a, Treatment('q'))*C(a)", {}),
    "quoted": (qvreg.ols, "np.log(positive) ~ Q('odd name') + C(Q('odd text'))", {}),
    "centred": (qvreg.ols, "y ~ center(x):a + center(Q('odd name'))", {}),
    "binary": (qvreg.logit, "event ~ C(a, Treatment('q')) + x", {}),
    "truths": (qvreg.logit, "flag ~ k + x", {"reference": True}),
    "classes": (qvreg.mnlogit, "kind ~ a + x", {"reference": "mid", "vcov": "hc0"}),
    "frequent": (qvreg.mnlogit, "c ~ x + b", {"freq_weights": "count"}),
}


@pytest.fixture(scope="module")
def data(table):
    """With texts that XML escapes and CSV quotes."""
    texts = np.array(['<a & "b">', "tab\there", "ä, ö"])
    return table.assign(**{"odd text": texts[table.k % 3]})


@pytest.fixture(params=FITS)
def results(request, data):
    function, formula, options = FITS[request.param]
    return function(formula, data, **options)


def predictions(results, table):
    return np.asarray(results.predict(table))


def text_of(level):
    return str(level).lower() if isinstance(level, (bool, np.bool_)) else str(level)


def as_predicted(results, scored):
    """The scores of the command in the shape of `predict`."""
    if isinstance(results, qvreg.results.LinearResults):
        return scored["predicted"].to_numpy(float)
    columns = scored[[f"p_{text_of(level)}" for level in results.classes]].to_numpy(float)
    if isinstance(results, qvreg.results.MNLogitResults):
        return columns
    return columns[:, [level != results.reference for level in results.classes]][:, 0]


def assert_bits(some, others):
    assert some.shape == others.shape
    assert np.array_equal(some.view(np.int64), others.view(np.int64)) or np.array_equal(some, others, equal_nan=True)


def assert_same(again, results, table):
    assert type(again) is type(results)
    for name in ("params", "bse", "pvalues"):
        assert (getattr(again, name).to_numpy() == getattr(results, name).to_numpy()).all()
    assert_bits(predictions(again, table), predictions(results, table))
    assert str(again.summary()) == str(results.summary())
    assert again.redundant == results.redundant


# ---- Written here ---------------------------------------------------------------


def test_models_are_read_again(results, data, tmp_path):
    path = tmp_path / "model.pmml"
    results.save(path)
    pmml_rules.read(path)
    again = qvreg.load(path)
    assert_same(again, results, data)
    assert_same(pickle.loads(pickle.dumps(again)), results, data)
    again.save(tmp_path / "again.XML")
    assert (tmp_path / "again.XML").read_bytes() == path.read_bytes()


def test_the_command_scores_them(results, data, tmp_path):
    path = tmp_path / "model.pmml"
    results.save(path)
    assert_bits(as_predicted(results, scores(path, data, tmp_path)), predictions(results, data))


def test_the_command_shows_and_compares_them(results, tmp_path):
    path = tmp_path / "model.pmml"
    results.save(path)
    assert results.model.formula.text in run("show", path)
    shown = json.loads(run("show", path, "--json", "-"))
    kept = [parameter["estimate"] for parameter in shown["parameters"] if not parameter["redundant"]]
    assert sorted(kept) == sorted(results.params.to_numpy().ravel().tolist())
    run("compare", path, path)


def cases():
    return [name for name in names_of_cases("linear", "logistic") if "**" not in Case(name).formula]


@pytest.mark.parametrize("name", cases())
def test_reference_models_are_scored_to_the_same_bits(name, tmp_path):
    case = Case(name)
    function = qvreg.ols if case.is_linear else qvreg.mnlogit
    results = function(case.formula, case.table, weights=case.weights, freq_weights=case.freq_weights)
    path = tmp_path / "model.pmml"
    results.save(path)
    pmml_rules.read(path)
    assert_same(qvreg.load(path), results, case.table)
    assert_bits(as_predicted(results, scores(path, case.table, tmp_path)), predictions(results, case.table))


@pytest.mark.parametrize("name, function, formula, options", [
    ("linear", qvreg.ols, "body_mass ~ flipper_length + beak_depth", {}),
    ("origin", qvreg.ols, "body_mass ~ flipper_length + beak_depth - 1", {}),
    ("classes", qvreg.mnlogit, "species ~ beak_length", {"reference": "Gentoo"})])
def test_they_say_what_the_command_says(name, function, formula, options, tmp_path):
    own, path = tmp_path / "own.json", tmp_path / "model.pmml"
    run("fit", "-d", PENGUINS, "-f", formula, "-q", "--json", own)
    function(formula, read_table(PENGUINS), **options).save(path)
    expected, shown = json.loads(own.read_text()), json.loads(run("show", path, "--json", "-"))
    for member in ("anova", "effects"):  # The package has no such tests.
        del expected[member], shown[member]
    for member in ("data", "files"):
        assert shown.pop(member) and expected.pop(member)
    del expected["records"]["missing_by_column"], shown["records"]["missing_by_column"]
    expected["fit"].pop("in_memory", None), shown["fit"].pop("in_memory", None)
    assert_near(shown, expected, name)


def assert_near(found, expected, place):
    if isinstance(expected, dict):
        assert list(found) == list(expected), place
        for key, value in expected.items():
            assert_near(found[key], value, f"{place}/{key}")
    elif isinstance(expected, list):
        assert len(found) == len(expected), place
        for index, value in enumerate(expected):
            assert_near(found[index], value, f"{place}/{index}")
    elif isinstance(expected, float) and isinstance(found, float):
        assert found == pytest.approx(expected, rel=1e-9, abs=1e-12), place
    else:
        assert found == expected, place


def test_fits_to_the_same_records_are_tested_against_each_other(tmp_path):
    smaller, larger = tmp_path / "smaller.pmml", tmp_path / "larger.pmml"
    table = read_table(PENGUINS).dropna()
    half = len(table) // 2
    qvreg.fit_chunks([table[:half], table[half:]], "body_mass ~ species").save(smaller)
    table.to_csv(tmp_path / "table.csv", index=False)
    run("fit", "-d", tmp_path / "table.csv", "-f", "body_mass ~ species + sex", "-q", "--save", larger)
    compared = json.loads(run("compare", smaller, larger, "--json", "-"))
    assert len(compared["tests"]) == 1
    fits = [qvreg.load(path) for path in (smaller, larger)]
    expected = (fits[0].ssr - fits[1].ssr) / fits[1].mse_resid
    assert compared["tests"][0]["statistic"] == pytest.approx(expected, rel=1e-9)
    qvreg.ols("body_mass ~ species", table[1:]).save(smaller)
    assert "records" in run("compare", smaller, larger)
    assert not json.loads(run("compare", smaller, larger, "--json", "-"))["tests"]


def test_standardized_columns_keep_all_but_the_last_digits(data, tmp_path):
    results = qvreg.ols("y ~ standardize(x, ddof=1) + scale(z, center=False) + center(k)", data)
    path = tmp_path / "model.pmml"
    results.save(path)
    assert_same(qvreg.load(path), results, data)
    scored = as_predicted(results, scores(path, data, tmp_path))
    np.testing.assert_allclose(scored, predictions(results, data), rtol=1e-14)


# ---- Written by the command -----------------------------------------------------


@pytest.mark.parametrize("formula", [
    "body_mass ~ species*sex + I(flipper_length^2) + flipper_length + scale(beak_depth)",
    "body_mass ~ island/sex + center(beak_depth):species",
    "log(body_mass) ~ C(flipper_length) + beak_depth",
    "sex ~ species + beak_depth:species - 1",
    "species ~ beak_length + sex"])
def test_models_of_the_command_predict_its_bits(formula, tmp_path):
    path, out = tmp_path / "model.pmml", tmp_path / "predictions.csv"
    run("fit", "-d", PENGUINS, "-f", formula, "-q", "--save", path, "-o", out)
    results, table = qvreg.load(path), read_table(PENGUINS)
    expected = as_predicted(results, read_table(out))
    assert np.isfinite(expected).sum() > 300
    assert_bits(predictions(results, table), expected)
    shown = json.loads(run("show", path, "--json", "-"))
    kept = {parameter["label"].replace("(Intercept)", "Intercept"): parameter["estimate"]
            for parameter in shown["parameters"] if not parameter["redundant"]}
    assert set(results.names) == set(kept)
    assert results.llf == pytest.approx(shown["fit"].get("log_likelihood", shown["fit"].get("loglik")), rel=1e-12)
    again = pickle.loads(pickle.dumps(results))
    assert_same(again, results, table)
    results.save(tmp_path / "own")
    assert_same(qvreg.load(tmp_path / "own"), results, table)
    again.save(tmp_path / "again.pmml")
    assert_same(qvreg.load(tmp_path / "again.pmml"), results, table)
    assert_bits(as_predicted(results, scores(tmp_path / "again.pmml", table, tmp_path)), expected)


@pytest.mark.parametrize("function, formula", [
    (qvreg.mnlogit, "kind ~ center(x)*a + I(z**2)"), (qvreg.logit, "flag ~ a/b + x")])
def test_models_of_the_command_have_errors_of_probabilities(function, formula, data, tmp_path):
    path, table = tmp_path / "model.pmml", tmp_path / "table.csv"
    data.to_csv(table, index=False)
    run("fit", "-d", table, "-f", formula.replace("**", "^"), "-q", "--save", path)
    results = qvreg.load(path)
    found = results.get_prediction(data)
    expected = function(formula, data, reference=results.reference).get_prediction(data)
    for name in ("predicted_mean", "se_mean"):
        np.testing.assert_allclose(getattr(found, name), getattr(expected, name), rtol=1e-6, atol=1e-9)


def test_effects_of_the_command_are_averaged_over_the_rows_of_the_fit(data, tmp_path):
    path, table = tmp_path / "model.pmml", tmp_path / "table.csv"
    holes = data.assign(kind=data.kind.mask(np.arange(len(data)) % 3 == 0))
    holes.to_csv(table, index=False)
    run("fit", "-d", table, "-f", "kind ~ x + z", "-q", "--freq-weight", "count", "--save", path)
    results = qvreg.load(path)
    expected = qvreg.mnlogit("kind ~ x + z", holes, freq_weights="count").get_margeff(holes)
    np.testing.assert_allclose(results.get_margeff(holes).margeff, expected.margeff, rtol=1e-6)
    np.testing.assert_allclose(results.get_margeff(holes).margeff_se, expected.margeff_se, rtol=1e-6)
    assert not np.allclose(results.get_margeff(data).margeff, expected.margeff, rtol=1e-3)


def test_weights_of_the_command_are_those_of_the_likelihood(data, tmp_path):
    path, table = tmp_path / "model.pmml", tmp_path / "table.csv"
    data.to_csv(table, index=False)
    run("fit", "-d", table, "-f", "y ~ x + a", "-q", "--regression-weight", "w", "--freq-weight", "count",
        "--save", path)
    results, expected = qvreg.load(path), qvreg.ols("y ~ x + a", data, weights="w", freq_weights="count")
    assert results.llf == pytest.approx(expected.llf, rel=1e-12)
    assert results.rsquared == pytest.approx(expected.rsquared, rel=1e-12)
    assert results.nobs == expected.nobs


def test_values_are_levels_however_they_are_written(tmp_path):
    path, table = tmp_path / "model.pmml", tmp_path / "table.csv"
    values = pd.DataFrame({"y": [1.0, 2.0, 4.0, 3.0, 5.0, 7.0], "k": [1, 1, 2, 2, 3, 3],
                           "yes": ["yes", "no", "yes", "no", "no", "yes"]})
    values.to_csv(table, index=False)
    run("fit", "-d", table, "-f", "y ~ C(k) + yes", "-q", "--save", path)
    results = qvreg.load(path)
    expected = predictions(results, values)
    for others in ({"k": values.k.astype(float)}, {"k": values.k.astype(str)},
                   {"k": values.k.astype("Int64")}, {"k": pd.Categorical(values.k)}, {"yes": values.yes == "yes"},
                   {"yes": values.yes.str.upper()}):
        assert_bits(predictions(results, values.assign(**others)), expected)
    with pytest.raises(qvreg.DataError, match="has the value 4"):
        results.predict(values.assign(k=4))
    with pytest.raises(qvreg.DataError) as raised:
        results.predict(values[["yes"]])
    assert str(raised.value) == "The data have no column 'k', which the model needs for 'C(k)'. Its columns are 'yes'."


def test_what_the_command_computes_is_refused(tmp_path):
    path = tmp_path / "model.pmml"
    run("fit", "-d", PENGUINS, "-f", "body_mass ~ log(beak_depth)", "-q", "--save", path)
    with pytest.raises(qvreg.DataError) as raised:
        qvreg.load(path)
    assert str(raised.value) == (f"{path} has the variable 'log(beak_depth)', which the command computes of its "
                                 "columns by functions of its own. Score it by 'qvreg score', or fit a model of a "
                                 "column of these values.")


def test_other_errors_of_the_command_are_told(tmp_path):
    path = tmp_path / "model.pmml"
    run("fit", "-d", PENGUINS, "-f", "body_mass ~ species", "-q", "--vcov", "hc3", "--save", path)
    with pytest.warns(qvreg.DataWarning, match="its errors were those of --vcov hc3, of which the file has no matrix"):
        qvreg.load(path)


# ---- Refused -------------------------------------------------------------------------


@pytest.mark.parametrize("formula, what", [
    ("y ~ np.log(positive)", "The term 'np.log(positive)' is computed, and cannot be written as PMML: PMML has "
     "columns, C(…), Q(…), center(…) and standardize(…) of columns; make a column of the term before the fit, or save "
     "under a name that does not end in .pmml or .xml."),
    ("y ~ bs(x, df=4)", "The term 'bs(x, df=4)' has several columns, and cannot be written as PMML: "),
    ("y ~ C(k > 2)", "The term 'C(k > 2)' is computed, and cannot be written as PMML: ")])
def test_terms_that_are_computed_cannot_be_written(formula, what, data, tmp_path):
    with pytest.raises(qvreg.FormulaError) as raised:
        qvreg.ols(formula, data).save(tmp_path / "model.pmml")
    assert str(raised.value).startswith(what)
    assert list(tmp_path.iterdir()) == []


def test_control_characters_cannot_be_written(data, tmp_path):
    with pytest.raises(qvreg.QvregError) as raised:
        qvreg.ols("y ~ a", data.assign(a=data.a + "\x01")).save(tmp_path / "model.pmml")
    assert str(raised.value) == ("The level 'q\\x01' holds a control character, which PMML cannot. Replace it before "
                                 "the fit.")


@pytest.fixture(scope="module")
def document(table, tmp_path_factory):
    path = tmp_path_factory.mktemp("pmml") / "model.pmml"
    qvreg.logit("event ~ a + center(x)", table).save(path)
    return path.read_bytes()


def refusal(data, tmp_path):
    path = tmp_path / "read.pmml"
    path.write_bytes(data)
    with pytest.raises(qvreg.DataError) as raised:
        qvreg.load(path)
    return str(raised.value).replace(str(path), "FILE")


def test_altered_files_are_refused(document, tmp_path):
    for old, new in ((b'beta="', b'beta="1'), (b'label="(Intercept)"', b'label="x"'), (b"<Value ", b"<Valeu "),
                     (b'name="sha256" value="', b'name="sha256" value="0')):
        said = refusal(document.replace(old, new, 1), tmp_path)
        assert said == ("FILE was changed since it was saved: its content is not that of its digest; take the file as "
                        "it was saved, or fit the model again.")


def test_blanks_line_ends_and_comments_do_not_count(document, table, tmp_path):
    path = tmp_path / "read.pmml"
    path.write_bytes(b"\xef\xbb\xbf" + document.replace(b">\n", b">\r\n\t<!-- here -->\n"))
    expected = tmp_path / "expected.pmml"
    expected.write_bytes(document)
    assert_bits(predictions(qvreg.load(path), table), predictions(qvreg.load(expected), table))


def test_cut_files_are_refused(document, tmp_path):
    for size in (20, len(document) // 2, len(document) - 8):
        assert refusal(document[:size], tmp_path).startswith("FILE is cut off or damaged at byte ")
    assert refusal(b"", tmp_path).startswith("FILE is empty; ")
    assert refusal(b'{"model": 1}', tmp_path).startswith("FILE is JSON and no model; ")
    assert refusal(b"y ~ x", tmp_path).startswith("FILE is no XML; ")
    assert refusal(document.replace(b"event", b"\xff\xff\xff\xff\xff"), tmp_path).startswith(
        "FILE holds no text in UTF-8 at byte ")
    assert refusal(document + document[40:], tmp_path).startswith("FILE holds more than one document; ")


def test_foreign_and_newer_files_are_refused(document, tmp_path):
    foreign = b'<PMML version="4.4"><Header><Application name="other"/></Header></PMML>'
    assert refusal(foreign, tmp_path).startswith("FILE is PMML of 'other', which is not read: ")
    assert refusal(b"<html/>", tmp_path) == "FILE is no PMML: its root is the element 'html'."
    newer = document.replace(b'name="format" value="1"', b'name="format" value="2"')
    assert refusal(newer, tmp_path).startswith("FILE is a model of format 2, which this version of qvreg (")
    newer = document.replace(b'version="4.4"', b'version="4.5"')
    assert refusal(newer, tmp_path).startswith("FILE is PMML 4.5, which this version of qvreg (")


def test_document_types_and_depth_are_refused(document, tmp_path):
    secret = tmp_path / "secret.txt"
    secret.write_text("do not read")
    for doctype in ("<!DOCTYPE PMML>", f'<!DOCTYPE PMML [<!ENTITY e SYSTEM "{secret.as_uri()}">]>',
                    '<!DOCTYPE PMML [<!ENTITY a "aaaaaaaa"><!ENTITY b "&a;&a;&a;&a;">]>'):
        said = refusal(document.replace(b"<PMML", doctype.encode() + b"<PMML", 1), tmp_path)
        assert said.startswith("FILE has a document type, which a saved model has not; ")
    assert refusal(b"<a>" * 65 + b"</a>" * 65, tmp_path).startswith(
        "FILE has more than 64 elements inside each other; ")
    assert refusal(b"<a>&e;</a>", tmp_path).startswith("FILE is cut off or damaged at byte ")


def sealed(document, old, new):
    """The document with a change that its digest is that of."""
    root = _xml.read(document.replace(old, new, 1), "the document")
    root.children.pop()
    root.add("Extension", extender="qvreg", name="sha256", value=_xml.digest(root))
    return _xml.written(root)


@pytest.mark.parametrize("old, new", [
    (b'beta="', b'beta="1'),
    (b'name="exponents" value="0', b'name="exponents" value="1'),
    (b'name="exponents" value="0', b'name="exponents" value="999999999999'),
    (b'name="maxIterations" value="', b'name="maxIterations" value="-'),
    (b'name="position" value="1"', b'name="position" value="2"'),
    (b'name="position" value="2"', b'name="position" value="100000000000"'),
    (b'name="isFactor" value="1"', b'name="isFactor" value="2"'),
    (b'<Value value="p" />', b'<Value value="q" />'),
    (b'name="roles" value="', b'name="roles" value="7 '),
    (b'name="exponent" value="0"', b'name="exponent" value="999999999999"'),
    (b"{\n", b"[\n")])
def test_parts_that_do_not_belong_together_are_refused(old, new, document, tmp_path):
    assert old in document
    said = refusal(sealed(document, old, new), tmp_path)
    assert said.startswith("FILE is no model that save() or 'qvreg fit --save' wrote: ")


def test_variables_of_another_model_are_refused(document, tmp_path):
    read = _pmml.ReadModel(document, "the document")
    factor = next(variable for variable in read.table.predictors if variable.is_factor)
    factor.levels.append("another")
    del read.fit["python"], read.fit[""]
    assert refusal(_pmml.document(read.component, read.table, read.fit), tmp_path) == (
        "FILE is no model that save() or 'qvreg fit --save' wrote: its variables are not those of its numbers. Fit the "
        "model again, and save it.")


# ---- Pieces ------------------------------------------------------------------------


@pytest.mark.parametrize("value, text", [
    (0.0, "0"), (-0.0, "-0"), (0.1, "0.1"), (-2.0, "-2"), (100000.0, "1e+05"), (123456.0, "123456"), (1e22, "1e+22"),
    (0.0001, "1e-04"), (0.001, "0.001"), (0.00012, "0.00012"), (3e-5, "3e-05"), (1.5e300, "1.5e+300"),
    (12345678901234567890.0, "12345678901234567168"), (5e-324, "5e-324"), (np.inf, "INF"), (-np.inf, "-INF"),
    (np.nan, "NaN")])
def test_numbers_are_the_shortest_texts(value, text):
    assert number_text(value) == text
    assert np.array([read_number(text)]).tobytes() == np.array([value]).tobytes()


def test_numbers_come_back_to_the_same_bits():
    bits = np.random.default_rng(3).integers(0, 2**64, 20000, np.uint64)
    for value in bits.view(np.float64):
        assert np.float64(read_number(number_text(value))).tobytes() == value.tobytes() or value != value
    for text in ("", " 1", "1 ", "1,5", "x", "inf", "nan", "0x10", "1e999", "NaN:", "NaN:0", "NaN:zz", "1_0", "+1"):
        with pytest.raises(ValueError):
            read_number(text)


def test_digests_are_those_of_the_elements(document, tmp_path):
    path = tmp_path / "model.xml"
    path.write_bytes(document)
    sums = hashlib.sha256()
    root = tree.parse(path).getroot()
    assert [child.get("name") for child in root][-1] == "sha256"
    # By another reader: of the root, whose name space is an attribute there.
    def add(element, attributes):
        texts = [("<", element.tag.split("}")[1])]
        for name, value in attributes + list(element.attrib.items()):
            texts += [("@", name), ("=", value)]
        if element.text and (element.text.strip() or not len(element)):
            texts.append(('"', element.text))
        for kind, text in texts:
            sums.update(f"{kind}{len(text.encode())}:{text}".encode())
        for child in element:
            add(child, [])
        sums.update(b">")
    expected = root[-1].get("value")
    root.remove(root[-1])
    add(root, [("xmlns", "http://www.dmg.org/PMML-4_4")])
    assert sums.hexdigest() == expected
