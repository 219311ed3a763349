"""What to call instead of what results of other packages have, and these have not."""

from __future__ import annotations

from typing import Any

from .errors import ArgumentError

_RESIDUALS = "take the response less results.predict(data)"
_INSTEAD = {
    "resid": f"results hold no data: {_RESIDUALS}",
    "wresid": f"results hold no data: {_RESIDUALS}, times the root of the weights",
    "resid_pearson": f"results hold no data: {_RESIDUALS}, over results.scale ** 0.5",
    "resid_response": f"results hold no data: {_RESIDUALS}",
    "fittedvalues": "results hold no data: call results.predict(data)",
    "get_influence": "results hold no data, and influence is not computed",
    "get_margeff": "the estimates of a linear model are its marginal effects",
    "get_robustcov_results": "fit again with vcov='hc0' or 'hc1'",
    "summary2": "call results.summary()",
    "cov_HC0": "fit again with vcov='hc0', and call results.cov_params()",
    "cov_HC1": "fit again with vcov='hc1', and call results.cov_params()",
    "HC0_se": "fit again with vcov='hc0', which results.bse is of",
    "HC1_se": "fit again with vcov='hc1', which results.bse is of",
    "condition_number": "it is not computed; results.redundant names columns that depend on others",
    "mle_retvals": "call results.converged and results.iterations",
}


def advise(kind: str, name: str) -> AttributeError:
    """The exception of an attribute `name` that results of a `kind` do not have."""
    advice = _INSTEAD.get(name)
    return AttributeError(f"{kind!r} object has no attribute {name!r}" + (f": {advice}." if advice else ""))


def needs_data(function: str, data: Any) -> None:
    """An exception where `function` is called without data."""
    if data is None:
        raise ArgumentError(f"{function} needs data, since results hold none: call {function}(data) with the table of "
                            "the fit, or with new rows.")
