#!/usr/bin/env python3
"""Fits the reference cases through ctypes, as a host of another language does.

Usage: test_c_interface.py LIBRARY REFERENCES [unittest's arguments]
"""

import ctypes
import math
import os
import sys
import tempfile
import unittest
from ctypes import c_double, c_int32, c_size_t

import qvreg
import references

library = qvreg.Library(sys.argv.pop(1))
cases = references.all_cases(sys.argv.pop(1))


def settings_of(case):
    settings = qvreg.make_settings(library, case.model())
    qvreg.change(library, settings, "options", qvreg.Options(),
                 {"use_intercept": int(case.formula.intercept), "refine_estimates": 1})
    if case.is_logistic:
        qvreg.change(library, settings, "logistic_options", qvreg.LogisticOptions(),
                     {"n_categories": len(case.dependent_levels()),
                      "reference_category": case.reference_category(), "param_criterion": 1e-10})
    return settings


class Feed:
    """A case's records through callbacks; `bad` is a record, from 1 on, at which `next` fails."""

    def __init__(self, case, bad=0):
        self.records = list(zip(*case.values))
        self.position = 0
        self.bad = bad
        self.callbacks = qvreg.RecordCallbacks(
            record_size=len(case.values), user=None, next=qvreg.NextCallback(self.next),
            rewind=qvreg.RewindCallback(self.rewind))

    def next(self, _user, record, size):
        if self.position + 1 == self.bad:
            return -7
        if self.position == len(self.records):
            return qvreg.NEXT_END
        for i in range(size):
            record[i] = self.records[self.position][i]
        self.position += 1
        return qvreg.NEXT_RECORD

    def rewind(self, _user):
        self.position = 0
        return 0

    def source(self):
        return library.made("source", "source_create_callbacks", ctypes.byref(self.callbacks))


def fit(settings, source):
    component = library.made("component", "component_create", settings)
    library.call("component_build", component, source)
    return component, library.made("results", "component_get_results", component)


def variances(results):
    n = library.value(qvreg.Summary, "results_get_summary", results).n_parameters
    return [library.value(c_double, "results_get_covariance", results, c_size_t(i), c_size_t(i))
            for i in range(n)]


def fit_stat(results, stat):
    return library.value(c_double, "results_get_fit_stat", results, stat)


def case_named(name):
    return next(case for case in cases if case.name == name)


class References(unittest.TestCase):
    def assert_near(self, got, expected, tolerance):
        self.assertEqual(len(got), len(expected))
        for a, b in zip(got, expected):
            self.assertLessEqual(abs(a - b), tolerance * max(abs(b), 1.0))

    def check_both(self, case, results):
        expected = case.expected
        # Seven leading digits are alike in the data of one case.
        tolerance = 1e-6 if case.name == "linear/leading_digits" else 1e-9
        self.assert_near(library.list(c_double, "results_get_estimates", results),
                         expected["estimates"], tolerance)
        self.assertEqual([bool(r) for r in library.list(c_int32, "results_get_redundant", results)],
                         expected["redundant"])
        counts = library.value(qvreg.RecordCounts, "results_get_record_counts", results)
        self.assertEqual(counts.used, expected["n"])

    def check_linear(self, case, results):
        self.assert_near(variances(results), case.expected["unscaled_variance"], 1e-8)
        self.assert_near([fit_stat(results, qvreg.RMSE)], [case.expected["rmse"]], 1e-9)
        self.assert_near([fit_stat(results, qvreg.R_SQUARE)], [case.expected["r_square"]], 1e-9)

    def check_logistic(self, case, results):
        expected = case.expected
        self.assert_near([math.sqrt(v) for v in variances(results)], expected["standard_errors"],
                         1e-8)
        summary = library.value(qvreg.LogisticSummary, "logistic_get_summary", results)
        self.assert_near([summary.initial_log_likelihood, summary.final_log_likelihood],
                         [expected["loglik_initial"], expected["loglik"]], 1e-10)
        self.assert_near([fit_stat(results, s) for s in
                          (qvreg.COX_SNELL, qvreg.NAGELKERKE, qvreg.MCFADDEN)],
                         [expected[k] for k in ("cox_snell", "nagelkerke", "mcfadden")], 1e-10)
        n = summary.n_categories
        elements = (c_double * (n * n))()
        library.call("logistic_get_classification", results, elements, c_size_t(n),
                     c_size_t(n * n), None)
        self.assert_near(list(elements), [x for row in expected["classification"] for x in row],
                         1e-12)
        codes = (c_int32 * n)()
        library.call("logistic_get_categories", results, codes, None, c_size_t(n), None)
        self.assertEqual([case.dependent_levels()[code] for code in codes],
                         expected["categories"])

    def test_every_case(self):
        self.assertGreater(len(cases), 40)
        for case in cases:
            with self.subTest(case.name):
                columns = qvreg.Columns(case.values)
                _, results = fit(settings_of(case), columns.source(library))
                self.check_both(case, results)
                if not case.is_logistic:
                    self.check_linear(case, results)
                else:
                    self.check_logistic(case, results)

    def test_callbacks_give_the_same_as_columns(self):
        for name in ("linear/two_way_freq", "logistic/fits/binary_both_weights"):
            case = case_named(name)
            columns, feed = qvreg.Columns(case.values), Feed(case)
            _, one = fit(settings_of(case), columns.source(library))
            _, other = fit(settings_of(case), feed.source())
            for function in ("results_get_estimates", "results_get_covariance_packed",
                             "results_get_means"):
                self.assertEqual(library.list(c_double, function, one),
                                 library.list(c_double, function, other))


class Hosts(unittest.TestCase):
    def assert_code(self, code, function, *arguments):
        with self.assertRaises(qvreg.Error) as raised:
            library.call(function, *arguments)
        self.assertEqual(raised.exception.code, code)
        self.assertNotEqual(raised.exception.message, "")
        return raised.exception

    def setUp(self):
        self.case = case_named("logistic/fits/binary")
        self.columns = qvreg.Columns(self.case.values)
        self.settings = settings_of(self.case)

    def component(self):
        return library.made("component", "component_create", self.settings)

    def test_version(self):
        version = library.functions.qvreg_version()
        text = library.functions.qvreg_version_string().decode()
        self.assertEqual(f"{version >> 16}.{version >> 8 & 255}.{version & 255}", text)

    def test_a_failing_source_is_named(self):
        feed = Feed(self.case, bad=5)
        component = self.component()
        error = self.assert_code(qvreg.UNREADABLE_RECORD, "component_build", component,
                                 feed.source())
        self.assertEqual(error.discrete[:3], [5, 1, -7])

    def test_a_run_is_cancelled(self):
        stop = qvreg.CancelCallback(lambda _user: 1)
        library.call("settings_set_cancel", self.settings, stop, None)
        self.assert_code(qvreg.CANCELLED, "component_build", self.component(),
                         self.columns.source(library))

    def test_progress_is_told(self):
        told = []

        def hear(_user, progress):
            p = progress.contents
            told.append((p.iteration, p.log_likelihood, p.estimates[:p.n_estimates]))

        callback = qvreg.ProgressCallback(hear)
        library.call("settings_set_progress", self.settings, callback, None)
        _, results = fit(self.settings, self.columns.source(library))
        summary = library.value(qvreg.LogisticSummary, "logistic_get_summary", results)
        self.assertEqual(told[-1][0], summary.iterations)
        self.assertEqual(told[-1][1], summary.final_log_likelihood)
        self.assertEqual(len(told[-1][2]), 3)

    def test_scores_are_probabilities(self):
        component, results = fit(self.settings, self.columns.source(library))
        record = (c_double * len(self.case.values))(*[v[0] for v in self.case.values])
        predicted, verdict = c_double(), c_int32()
        probabilities = (c_double * 2)()
        library.call("component_score", component, record, c_size_t(len(record)),
                     ctypes.byref(predicted), probabilities, c_size_t(2), ctypes.byref(verdict))
        self.assertEqual(verdict.value, 0)
        b0, b1, b2 = library.list(c_double, "results_get_estimates", results)
        x, z = (record[self.case.position(name)] for name in ("x", "z"))
        odds = math.exp(b0 + b1 * x + b2 * z)
        self.assertAlmostEqual(probabilities[0], odds / (1 + odds), 14)
        self.assertAlmostEqual(sum(probabilities), 1.0, 14)
        self.assertEqual(predicted.value, float(probabilities[1] > probabilities[0]))

    def test_a_record_file_is_read(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "größe 測.bin")
            with open(path, "wb") as file:
                for record in zip(*self.case.values):
                    file.write((c_double * len(record))(*record))
            source = library.made("source", "source_open_file", path.encode("utf-8"),
                                  c_size_t(len(self.case.values)))
            _, from_file = fit(self.settings, source)
            _, from_memory = fit(self.settings, self.columns.source(library))
            self.assertEqual(library.list(c_double, "results_get_estimates", from_file),
                             library.list(c_double, "results_get_estimates", from_memory))
        error = self.assert_code(qvreg.CANNOT_OPEN, "source_open_file", path.encode("utf-8"),
                                 c_size_t(1), ctypes.byref(ctypes.c_void_p()))
        self.assertIn(path, error.message)

    def test_what_is_wrong_is_a_code(self):
        value = c_double()
        self.assert_code(qvreg.NULL_HANDLE, "settings_validate", None)
        self.assert_code(qvreg.BAD_HANDLE, "effect_reset", self.settings)
        self.assert_code(qvreg.SETTING_REFUSED, "settings_set_dependent", self.settings, 0)
        _, results = fit(self.settings, self.columns.source(library))
        self.assert_code(qvreg.NOT_SERVED, "results_get_fit_stat", results, qvreg.RMSE,
                         ctypes.byref(value))
        linear = case_named("linear/norris")
        columns = qvreg.Columns(linear.values)
        _, results = fit(settings_of(linear), columns.source(library))
        self.assert_code(qvreg.WRONG_MODEL, "logistic_get_summary", results,
                         ctypes.byref(qvreg.LogisticSummary()))


if __name__ == "__main__":
    unittest.main()
