"""Results of fits, with the names and shapes that users of statsmodels know."""

from __future__ import annotations

import os

from ._class_results import LogitResults, MNLogitResults
from ._fit import Fit
from ._library import restore
from ._linear_results import LinearResults
from ._margins import MarginalEffects
from ._model import Extras, Model
from ._pmml_results import of_pmml
from ._prediction import Prediction, ProbabilityPrediction
from ._results import Results
from ._saving import ARCHIVE_START, is_pmml, unpack
from ._xml import MOST_BYTES
from .errors import DataError

__all__ = ["LinearResults", "LogitResults", "MNLogitResults", "MarginalEffects", "Prediction",
           "ProbabilityPrediction", "Results", "load"]

KINDS = {"ols": LinearResults, "logit": LogitResults, "mnlogit": MNLogitResults}


def load(path: str | os.PathLike) -> Results:
    """Reads a model that `save` has written, or the command's ``qvreg fit --save``.

    Parameters
    ----------
    path : str or path
        The file.

    Returns
    -------
    LinearResults, LogitResults or MNLogitResults
        With the numbers of the model that was saved, and its predictions, to the last bit. Functions
        that its formula calls are numpy's, as ``np`` or ``numpy``. A model of the command has the names
        of its parameters.
    """
    with open(path, "rb") as file:
        if file.read(len(ARCHIVE_START)) == ARCHIVE_START:
            file.seek(0)
            return _unpacked(file.read(), str(path))
        file.seek(0)
        data = file.read(MOST_BYTES + 1)
    if len(data) > MOST_BYTES:
        raise DataError(f"{path} has more than {MOST_BYTES} bytes, and no saved model has.")
    if not is_pmml(path) and not data.lstrip(b"\xef\xbb\xbf \t\r\n").startswith(b"<"):
        return _unpacked(data, str(path))
    model, fit, extras = of_pmml(data, str(path))
    return KINDS[model.kind](model, fit, extras)


def unpickled(packed: bytes) -> Results:
    """What `pickle` has kept of a model."""
    return _unpacked(packed, "The pickle")


def _unpacked(packed: bytes, name: str) -> Results:
    described, fitted = unpack(packed, name)
    model = Model.from_dict(described["model"])
    fit = Fit(model.formula.design, model.layout, restore(fitted))
    return KINDS[model.kind](model, fit, Extras.from_dict(described["extras"]))
