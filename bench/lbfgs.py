"""Fits the records of a file (covariates, factors' levels, last the class) with scikit-learn's
LogisticRegression by L-BFGS, without a penalty: lbfgs.py FILE COVARIATES CLASSES [LEVELS...]"""

import sys

import numpy
from peer import Stopwatch, linear_algebra_library, read_design
from sklearn.linear_model import LogisticRegression


def main(file, covariates, _classes, *levels):
    watch = Stopwatch()
    design, observed = read_design(file, covariates, levels)
    design = numpy.ascontiguousarray(design[:, 1:])  # It adds the intercept itself.
    watch.tell("reading")
    watch = Stopwatch()
    model = LogisticRegression(solver="lbfgs", penalty=None, tol=1e-6, max_iter=1000)
    model.fit(design, observed)
    watch.tell("fit")
    if model.n_iter_[0] >= model.max_iter:
        sys.exit(f"LogisticRegression did not converge in {model.max_iter} iterations")
    logarithms = model.predict_log_proba(design)
    places = numpy.searchsorted(model.classes_, observed)
    print(f"  linear algebra by      {linear_algebra_library()}")
    print(f"  iterations             {model.n_iter_[0]}")
    print(f"  log-likelihood         {logarithms[numpy.arange(len(observed)), places].sum():.14g}")


main(sys.argv[1], *map(int, sys.argv[2:]))
