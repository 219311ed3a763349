"""The table of a fit, as text and as HTML."""

from __future__ import annotations

import html
from collections.abc import Sequence
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

import numpy as np

from ._text import left, right, room

if TYPE_CHECKING:
    from .results import Results

_LEAST_WIDTH = 78
_NAME_WIDTH = 40
_SHOWN_NAMES = 10


@dataclass
class SummaryTable:
    """A title, pairs of what is said of the fit, a table of parameters for every equation, and notes.

    Shown by `print` as text and in notebooks as HTML.
    """

    title: str
    facts: list[tuple[str, str]]
    columns: list[str]
    equations: list[tuple[str, list[list[str]]]]
    notes: list[str] = field(default_factory=list)

    def __str__(self) -> str:
        name_width, widths = self._widths()
        width = name_width + sum(widths) + 2 * len(widths)
        lines = [self.title.center(width).rstrip(), "=" * width, *self._fact_lines(width)]
        for heading, rows in self.equations:
            lines.append(("-" if heading else "=") * width)
            lines.append(_line(heading, self.columns, name_width, widths))
            lines.append("-" * width)
            lines += [_line(row[0], row[1:], name_width, widths) for row in rows]
        lines.append("=" * width)
        if self.notes:
            lines += ["Notes:", *[f"[{number}] {note}" for number, note in enumerate(self.notes, 1)]]
        return "\n".join(lines)

    def _fact_lines(self, width: int) -> list[str]:
        half = (len(self.facts) + 1) // 2
        first, second = self.facts[:half], self.facts[half:] + [("", "")]
        half_width = width // 2 - 1
        return [_fact(*a, half_width) + "  " + _fact(*b, width - half_width - 2) for a, b in zip(first, second)]

    def _widths(self) -> tuple[int, list[int]]:
        rows = [row for _, rows in self.equations for row in rows]
        widths = [max([len(column)] + [len(row[i + 1]) for row in rows])
                  for i, column in enumerate(self.columns)]
        widths = [max(width, 8) for width in widths]
        longest = max([room(row[0]) for row in rows] + [room(heading) for heading, _ in self.equations])
        spare = _LEAST_WIDTH - sum(widths) - 2 * len(widths)
        return max(min(longest, _NAME_WIDTH), spare), widths

    def as_text(self) -> str:
        """The table as `print` shows it."""
        return str(self)

    def as_html(self) -> str:
        """The table as notebooks show it."""
        return self._repr_html_()

    def _repr_html_(self) -> str:
        parts = [f"<table><caption>{html.escape(self.title)}</caption>"]
        for name, value in self.facts:
            parts.append(f"<tr><th>{html.escape(name)}</th><td>{html.escape(value)}</td></tr>")
        parts.append("</table>")
        for heading, rows in self.equations:
            parts.append("<table><tr>" + _cells("th", [heading, *self.columns]) + "</tr>")
            parts += ["<tr>" + _cells("th", row[:1]) + _cells("td", row[1:]) + "</tr>" for row in rows]
            parts.append("</table>")
        if self.notes:
            parts.append("<ol>" + "".join(f"<li>{html.escape(note)}</li>" for note in self.notes) + "</ol>")
        return "\n".join(parts)

    __repr__ = __str__


def _cells(tag: str, texts: list[str]) -> str:
    return "".join(f"<{tag}>{html.escape(text)}</{tag}>" for text in texts)


def _fact(name: str, value: str, width: int) -> str:
    label = f"{name}:" if name else ""
    return f"{label} {right(value, width - len(label) - 1)}"


def _line(name: str, texts: list[str], name_width: int, widths: list[int]) -> str:
    return left(name, name_width) + "".join(f"  {text:>{width}}" for text, width in zip(texts, widths))


def _number(value: float) -> str:
    if not np.isfinite(value):
        return str(value)
    if value != 0 and not 1e-4 <= abs(value) < 1e6:
        return f"{value:.3e}"
    return f"{value:.4f}"


def _p_value(value: float) -> str:
    return "<0.001" if value < 0.0005 else f"{value:.3f}"


def estimate_rows(names: Sequence[str], *columns: np.ndarray) -> list[list[str]]:
    """Rows of a table: names, then estimates, errors, statistics, p values and limits."""
    return [[name, _number(estimate), _number(error), f"{statistic:.3f}", _p_value(p), _number(low), _number(high)]
            for name, estimate, error, statistic, p, (low, high) in zip(names, *columns)]


def headings(estimate: str, kind: str, alpha: float) -> list[str]:
    """What stands over the columns of `estimate_rows`."""
    return [estimate, "std err", kind, f"P>|{kind}|", f"[{alpha / 2:.3g}", f"{1 - alpha / 2:.3g}]"]


def _rows(results: "Results", alpha: float) -> list[list[str]]:
    names = [label if isinstance(label, str) else label[1] for label in results._labels()]
    return estimate_rows(names, results._flat, results._standard_errors, results._statistics,
                         results._p_values(results._statistics), results._limits(alpha))


def _columns(results: "Results", alpha: float) -> list[str]:
    return headings("coef", "t" if results.use_t else "z", alpha)


def _notes(results: "Results") -> list[str]:
    notes = []
    counts = results._fit.counts
    dropped = counts.read - counts.used
    if dropped:
        reasons = [f"{n} for {why}" for n, why in ((counts.missing, "a missing value"),
                                                   (counts.bad_weight, "a weight of 0")) if n]
        notes.append(f"{dropped} of {counts.read} rows were left out: {', '.join(reasons)}.")
    layout = results._fit.layout
    weighted = [name for name in ("weights", "freq_weights") if getattr(layout, name) is not None]
    if weighted:
        notes.append(f"Rows are weighted by {' and '.join(weighted)}.")
    names = results.redundant
    if names:
        more = f" and {len(names) - _SHOWN_NAMES} more" if len(names) > _SHOWN_NAMES else ""
        notes.append("Redundant, since the data do not determine them: "
                     f"{', '.join(names[:_SHOWN_NAMES])}{more}.")
    if results.separation:
        notes.append(f"The predictors separate the classes ({results.separation} separation): estimates and "
                     "standard errors of the parameters concerned mean nothing.")
    elif not results.converged:
        notes.append(f"The estimates did not converge in {results.iterations} iterations: the last ones are given.")
    return notes


def _common(results: "Results") -> list[tuple[str, str]]:
    return [("Dep. Variable", results.model.formula.response),
            ("No. Observations", f"{results.nobs:.15g}"),
            ("Df Residuals", f"{results.df_resid:.15g}"),
            ("Df Model", f"{results.df_model:g}"),
            ("Covariance Type", results.cov_type)]


def linear_summary(results: Any, alpha: float) -> SummaryTable:
    facts = _common(results) + [
        ("R-squared", f"{results.rsquared:.4f}"),
        ("Adj. R-squared", f"{results.rsquared_adj:.4f}"),
        ("F-statistic", f"{results.fvalue:.4g}"),
        ("Prob (F-statistic)", f"{results.f_pvalue:.3g}"),
        ("Log-Likelihood", f"{results.llf:.6g}"),
        ("AIC", f"{results.aic:.6g}"),
        ("BIC", f"{results.bic:.6g}")]
    return SummaryTable("Linear regression", facts, _columns(results, alpha), [("", _rows(results, alpha))],
                        _notes(results))


def logistic_summary(results: Any, alpha: float) -> SummaryTable:
    facts = _common(results) + [
        ("Reference", str(results.reference)),
        ("Pseudo R-squared", f"{results.prsquared:.4f}"),
        ("Log-Likelihood", f"{results.llf:.6g}"),
        ("LL-Null", f"{results.llnull:.6g}"),
        ("LLR p-value", f"{results.llr_pvalue:.3g}"),
        ("Iterations", str(results.iterations)),
        ("Converged", str(results.converged))]
    rows = _rows(results, alpha)
    width = len(rows) // results._fit.n_equations
    others = [results.model.classes[code] for code in results._fit.categories[:-1]]
    equations = [(f"{results.model.formula.response}={label}", rows[i * width:(i + 1) * width])
                 for i, label in enumerate(others)]
    if len(results.classes) > 2:
        facts.insert(2, ("No. Classes", str(len(results.classes))))
    return SummaryTable("Logistic regression", facts, _columns(results, alpha), equations, _notes(results))
