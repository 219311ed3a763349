"""Fits the records of a file (covariates, factors' levels, last the class) with statsmodels' Logit, or
MNLogit for more than two classes, by Newton's method: mnlogit.py FILE COVARIATES CLASSES [LEVELS...]"""

import sys

from peer import Stopwatch, linear_algebra_library, read_design
from statsmodels.discrete.discrete_model import Logit, MNLogit


def main(file, covariates, classes, *levels):
    watch = Stopwatch()
    design, observed = read_design(file, covariates, levels)
    watch.tell("reading")
    watch = Stopwatch()
    model = Logit if classes == 2 else MNLogit
    result = model(observed, design).fit(method="newton", maxiter=100, disp=False)
    watch.tell("fit")
    if not result.mle_retvals["converged"]:
        sys.exit(f"{model.__name__} did not converge in 100 iterations")
    print(f"  linear algebra by      {linear_algebra_library()}")
    print(f"  iterations             {result.mle_retvals['iterations']}")
    print(f"  log-likelihood         {result.llf:.14g}")


main(sys.argv[1], *map(int, sys.argv[2:]))
