"""numpy is enough to import the package; what is missing is asked for by name."""

import subprocess
import sys

HIDE = "import sys\nfor name in {hidden!r}: sys.modules[name] = None\n"


def run(code, *hidden):
    return subprocess.run([sys.executable, "-c", HIDE.format(hidden=hidden) + code], capture_output=True, text=True)


def test_pandas_is_not_needed():
    done = run("import numpy as np, qvreg\n"
               "data = {'y': np.array([1.0, 2, 2.5, 4.5]), 'x': np.arange(4.0),\n"
               "        'g': np.array(['b', 'a', None, 'b'])}\n"
               "results = qvreg.ols('y ~ x', data)\n"
               "print(results.names, type(results.params).__name__, results.params.round(3))\n"
               "print(results.conf_int().shape)\n"
               "print(results.predict(data).round(2), results.get_prediction(data).summary_frame().shape)\n"
               "print(qvreg.ols('y ~ g', data).nobs)\n"
               "print('length' in str(results.summary()) or 'x ' in str(results.summary()))\n",
               "pandas", "sklearn", "tqdm")
    assert done.stderr == ""
    assert done.stdout.splitlines() == [
        "['Intercept', 'x'] ndarray [0.85 1.1 ]", "(2, 2)", "[0.85 1.95 3.05 4.15] (4, 6)", "3.0", "True"]


def test_formulas_ask_for_patsy():
    done = run("import qvreg\nqvreg.ols('y ~ x', {'y': [1.0], 'x': [2.0]})", "patsy", "pandas")
    assert done.stderr.splitlines()[-1] == (
        "ImportError: Formulas need patsy: install it (pip install patsy), or use the estimators of qvreg.sklearn, "
        "which take arrays.")


def test_a_library_that_is_not_there():
    done = run("import os\nos.environ['QVREG_LIBRARY'] = '/nowhere/libqvreg.so'\nimport qvreg\nqvreg.library_version()")
    assert done.stderr.splitlines()[-1].startswith(
        "qvreg.errors.LibraryError: The shared library /nowhere/libqvreg.so could not be loaded: ")


def test_versions_agree():
    done = run("import qvreg\nprint(qvreg.__version__ == qvreg.library_version())")
    assert done.stdout == "True\n"
