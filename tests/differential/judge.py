"""What becomes of a table: the command's fit beside R's and, of some, exact arithmetic."""

import math
from collections import Counter, defaultdict
from dataclasses import dataclass, field

import numpy
from scipy.optimize import linprog, lsq_linear

import bounds
import exact
import fits

EXACT_EVERY = 10
ILL_CONDITIONED = 1e5
SINGULAR = 1e6  # 1 over its square is the command's tolerance for pivots of the information matrix.
NO_RECORDS = "None of the "
OF_NO_VALUES = ("is a factor and has no powers", "takes a number here, but")
DEFAULT_CRITERION = 1e-6
ONE_CLASS = "The dependent has fewer than two categories in the records used"
PARAMETER_NAMES = ("estimate", "std_error", "statistic")
EXACTLY = ("used", "degrees_of_freedom", "f_df", "chi_square_df")
STATISTIC_OF = {"f_p_value": "f_statistic", "chi_square_p": "chi_square"}


@dataclass
class Findings:
    """Of any number of tables."""

    kinds: Counter = field(default_factory=Counter)
    outcomes: Counter = field(default_factory=Counter)
    compared: Counter = field(default_factory=Counter)  # by (peer, quantity)
    worst: dict = field(default_factory=dict)  # (peer, quantity): (share of what is allowed, table)
    peer_wrong: list = field(default_factory=list)
    problems: list = field(default_factory=list)

    def add(self, other):
        for mine, its in ((self.kinds, other.kinds), (self.outcomes, other.outcomes),
                          (self.compared, other.compared)):
            mine.update(its)
        for key, value in other.worst.items():
            self.worst[key] = max(self.worst.get(key, (0.0, 0)), value)
        self.peer_wrong += other.peer_wrong
        self.problems += other.problems


@dataclass
class Compared:
    """What R says, as an exact fit has it."""

    parameters: list
    numbers: dict
    slopes: dict


class Judge:
    """One table's."""

    def __init__(self, table, fit, peer, findings):
        self.table, self.fit, self.peer, self.findings = table, fit, peer, findings
        self.differs = []
        self.has_other_rank = False
        self.name = {"linear": "linear", "binary": "logistic, two classes",
                     "several": "logistic, several classes"}[table.kind]
        findings.kinds[self.name] += 1

    def problem(self, text):
        self.findings.problems.append(f"table {self.table.number} ({self.table.formula}): {text}")

    def count(self, outcome):
        self.findings.outcomes[f"{self.name}: {outcome}"] += 1

    def run(self):
        if not self._is_fitted():
            return
        self._check_parameters()
        if self._is_at_tolerance():
            self.count("a column at the tolerance, not compared")
        elif self.table.kind == "linear":
            self._judge_linear()
        else:
            self._judge_logistic()

    # --- Refusals ---
    def _is_fitted(self):
        used = self.table.used()
        expected = ""
        if not used:
            expected = NO_RECORDS
        elif self.table.kind != "linear" and len({self.table.dependent.values[i] for i in used}) < 2:
            expected = ONE_CLASS
        if self.fit.json and not expected:
            return True
        if self.fit.code == 2 and any(t in self.fit.message for t in OF_NO_VALUES) and self._has_column_of_nothing():
            # A column of a text file without any value is text. R has no record either.
            self.count("no value at all in a column of a text file: its power or logarithm is refused")
            return False
        if self.fit.json or not expected:
            self.problem(f"refused: {self.fit.message}" if expected == "" else f"not refused: {expected}")
        elif expected not in self.fit.message or self.fit.code != 1:
            self.problem(f"refused with another sentence, {self.fit.code}: {self.fit.message}")
        elif self.peer.how == "error":
            self.count("refused on both sides")
        elif expected == ONE_CLASS:
            # glm fits a response of one class: any probability of 0 or 1 will do.
            self.count("one class: refused, fitted by R")
        else:
            self.problem(f"refused, fitted by R: {self.fit.message}")
        return False

    def _has_column_of_nothing(self):
        table = self.table
        return table.is_csv and any(v.values.count(None) == table.rows and not v.levels for v in table.in_formula())

    def _check_parameters(self):
        """That there is a parameter for each column that the formula stands for, and each record is there."""
        table, fit = self.table, self.fit
        wanted = 1 if table.intercept else 0
        for term in table.written_terms():
            cells = {tuple(table.variables[k].values[i] for k in term.factors) for i in fit.rows}
            wanted += len(cells)
        if len(fit.columns) != wanted:
            self.problem(f"{len(fit.columns)} parameters, {wanted} expected")
        records = fit.json["records"]
        counts = (table.rows, len(fit.rows), table.rows - len(table.without_missing()))
        if (records["read"], records["used"], records["missing"]) != counts:
            self.problem(f"records {records}, expected {counts}")

    def _is_at_tolerance(self):
        """Whether rounding may decide which columns are kept."""
        tolerance = 1e-7 if self.table.kind == "linear" else 1e-6
        self.shares = self.fit.shares()
        return any(tolerance / 3 < share < tolerance * 3 for share in self.shares)

    # --- Comparing ---
    def _note(self, peer, quantity, number, expected, allowed):
        """Whether a number is as far from another as it may be, which is noted."""
        is_missing = number is None or not math.isfinite(number)
        if is_missing or not math.isfinite(expected):
            return is_missing and not math.isfinite(expected)
        difference = abs(number - expected)
        ratio = difference / allowed if allowed > 0 else (0.0 if difference == 0 else math.inf)
        key = (peer, quantity)
        self.findings.compared[key] += 1
        if math.isfinite(ratio):
            self.findings.worst[key] = max(self.findings.worst.get(key, (0.0, 0)), (ratio, self.table.number))
        return ratio <= 1

    def _compare(self, peer, fit, allowed):
        """What is further away than allowed, as (quantity, text). `fit` has parameters in the order of the kept
        ones (estimate, error, statistic, p and by what share that changes with the statistic), numbers, and
        slopes: p values of the whole with theirs."""
        wrong, seen = [], set()

        def note(quantity, of, number, value, most):
            seen.add(quantity)
            if not self._note(peer, quantity, number, value, most):
                wrong.append((quantity, f"{quantity}{of}: {number}, {peer} {value}, allowed {most:.1e}"))

        for k, values in enumerate(fit.parameters):
            own = self.fit.kept_parameters[k]
            of = f" of {own['label']}"
            for name, value in zip(PARAMETER_NAMES, values):
                if name in allowed:
                    note(name, of, own[name], value, allowed[name][k])
            if "statistic" in allowed:
                p, slope = values[3:]
                note("p_value", of, own["p_value"], p, bounds.p_value_change(p, slope, allowed["statistic"][k]))
        ours = self.fit.numbers()
        for name, value in fit.numbers.items():
            if name in allowed or name in EXACTLY:
                note(name, "", ours.get(name), value, 0.0 if name in EXACTLY else allowed[name])
        for name, (p, slope) in fit.slopes.items():
            statistic = STATISTIC_OF[name]
            if statistic in allowed:
                note(name, "", ours.get(name), p, bounds.p_value_change(p, slope, allowed[statistic]))
        return wrong, seen

    def _peer_parameters(self):
        """R's in the order of the kept ones."""
        single = fits.single_levels(self.table, self.fit.rows)
        names = [self.fit.columns[k].peer_name(single) for k in self.fit.kept]
        if self.table.kind != "linear":
            order = self._classes()
            codes = [order.index(c) + 1 for c in order[1:]] if len(order) > 2 else [2]
            names = [f"{code}|{name}" for code in codes for name in names]
        return [self.peer.parameters[name] for name in names]

    def _classes(self):
        return fits.class_order(self.table, self.fit.rows)

    def _check_categories(self):
        order, levels = self._classes(), self.table.dependent.levels
        expected = [levels[c] for c in order[1:]]
        if expected != self.fit.categories or levels[order[0]] != self.fit.json["reference"]:
            self.problem(f"categories {self.fit.categories} against {self.fit.json['reference']}, "
                         f"expected {expected} against {levels[order[0]]}")

    def _peer_numbers(self):
        numbers = {name: values[0] for name, values in self.peer.numbers.items()}
        if self.table.frequency and "used" in numbers:
            numbers["used"] = math.nan if numbers["used"] != self.fit.n else float(len(self.fit.rows))
        return numbers

    def _beside_r(self, sizes, allowed_here, allowed_there):
        """Compares with R; what is too far apart is judged by the exact fit."""
        if self.peer.how not in ("own", "same columns"):
            self.count(f"R: {self.peer.how} {self.peer.why}")
            self.problem(f"R did not fit it: {self.peer.how} {self.peer.why}")
            return
        if self.peer.how == "same columns":
            self.count("R keeps other columns of the same space, and fits those kept here")
        allowed = {name: allowed_here[name] + allowed_there[name] for name in allowed_here if name in allowed_there}
        numbers = self._peer_numbers()
        slopes = {"f_p_value": self.peer.numbers["f_p_value"]} if "f_p_value" in numbers else {}
        if self.table.kind != "linear":
            gain = numbers["log_likelihood"] - numbers["initial_log_likelihood"]
            blocks = len(self.fit.blocks)
            numbers |= exact.chi_square(gain, blocks * len(self.fit.kept), blocks * int(self.table.intercept))
            slopes = exact.p_of_chi_square(numbers)
        if numbers["rank"] != len(self.fit.kept):
            # R codes some crossings by contrasts that span less; what is right, the exact fit says.
            self.count("R has another rank: judged exactly, its parameters of the columns kept here compared")
            self.has_other_rank = True
            numbers, slopes = {}, {}
        there = Compared(self._peer_parameters(), numbers, slopes)
        self.differs, _ = self._compare("R", there, allowed)

    def _finish(self, make_exact, allowed, sizes):
        """The exact fit, if it is this table's turn or R says something else."""
        differs = self.differs
        is_due = self.table.number % EXACT_EVERY == 0 or sizes.kappa >= ILL_CONDITIONED or self.has_other_rank
        if not differs and not is_due:
            return
        fit = make_exact()
        if fit is None:
            return
        self.count("compared with exact arithmetic")
        if fit.kept != self.fit.kept:
            self.problem(f"kept {self.fit.kept}, exactly {fit.kept}")
            return
        wrong, judged = self._compare("exact", fit, allowed)
        for _, text in wrong:
            self.problem(f"kappa {sizes.kappa:.1e}: {text}")
        for quantity, text in differs:
            if quantity not in judged:
                self.problem(f"kappa {sizes.kappa:.1e}, not judged by the exact fit: {text}")
        if differs and not wrong:
            self.findings.peer_wrong.append(
                f"table {self.table.number} ({self.table.formula}), kappa {sizes.kappa:.1e}: {differs[0][1]}"
                + (f" and {len(differs) - 1} more" if len(differs) > 1 else ""))

    # --- Linear ---
    def _judge_linear(self):
        table, fit = self.table, self.fit
        if not fit.kept:
            self.count("no column kept")
            return
        y = numpy.array([table.dependent.values[i] for i in fit.rows])
        sizes = bounds.Linear(fit.design, y, fit.weights, fit.n, table.intercept)
        if table.regression:
            sizes.log_weights = sum(f * abs(math.log(r)) for f, r in
                                    zip(table.frequencies(fit.rows), table.precisions(fit.rows)))
        shape = (len(y), len(fit.kept))
        here, there = bounds.exact_sums(*shape), bounds.householder(int(fit.n), shape[1])
        if sizes.is_perfect(here + there):
            self.count("perfect fits: estimates and residuals compared")
            for name in ("statistic", "f_statistic", "log_likelihood"):
                self.findings.outcomes[f"left out of perfect fits: {name}"] += 1
        else:
            self.count("compared")
        if table.intercept and len(set(y)) == 1 and fit.json["fit"]["r_square"] != 0:
            self.problem(f"R square {fit.json['fit']['r_square']} of a constant")
        allowed_here = sizes.allowed(fit, here, bounds.REFINED)
        self._beside_r(sizes, allowed_here, sizes.allowed(fit, there))
        self._finish(lambda: exact.Linear(table, fit), allowed_here, sizes)

    # --- Logistic ---
    def _judge_logistic(self):
        table, fit = self.table, self.fit
        self._check_categories()
        order = self._classes()
        places = [*order[1:], order[0]]
        codes = [places.index(table.dependent.values[i]) for i in fit.rows]
        said = fit.json["fit"]["separation"]
        is_separated = separates(fit.design, codes, len(order))
        if is_separated is None:
            self.problem("the linear program about separation was not solved")
            return
        if said != "none" or is_separated:
            self._judge_separated(said, is_separated)
            return
        if not fit.kept:
            self.count("no column kept")
            return
        estimates = fit.estimates.reshape(len(fit.blocks), len(fit.kept))
        sizes = bounds.Logistic(fit.design, numpy.array(codes), fit.weights, estimates,
                                table.frequencies(fit.rows), fit.json["fit"]["loglik_initial"])
        criterion = table.criterion
        ending = fit.json["fit"]
        if ending["outcome"] == "max_iterations" and ending["parameter_change"] < DEFAULT_CRITERION:
            # An estimate next to 0 changes by rounding more than by a share that was asked for.
            self.count("compared, though the estimates did not settle to the share asked for")
            criterion = DEFAULT_CRITERION
        elif not fit.json["fit"]["converged"]:
            if sizes.kappa > SINGULAR or sizes.least_information < SINGULAR ** -2:
                # A maximum so far away that doubles hold next to no information there.
                self.count("not separated, but singular in doubles: not converged")
            else:
                self.problem(f"not converged, kappa {sizes.kappa:.1e}: {fit.json['fit']['ending']}")
            return
        shape = (len(codes), sizes.q)
        allowed_here = sizes.allowed(fit, bounds.plain_sums(*shape), criterion, True)
        self.count("compared")
        self._beside_r(sizes, allowed_here, sizes.allowed(fit, bounds.householder(int(fit.n), sizes.q)))
        search = self.peer.numbers.get("search_error")
        if search:
            self.findings.worst[("R", "multinom before Newton's steps, in standard errors")] = max(
                self.findings.worst.get(("R", "multinom before Newton's steps, in standard errors"), (0.0, 0)),
                (search[0], table.number))
        self._finish(lambda: self._exact_logistic(codes), allowed_here, sizes)

    def _exact_logistic(self, codes):
        try:
            return exact.Logistic(self.table, self.fit, codes)
        except exact.newton.NoMaximum as end:
            self.problem(f"called converged, 60 digits find no maximum: {end}")
            return None

    def _judge_separated(self, said, is_separated):
        if said == "none" and not self.fit.json["fit"]["converged"]:
            # It says that the estimates are none, without the reason.
            self.count(f"separated, ended otherwise: {self.fit.json['fit']['outcome']}")
            return
        if (said != "none") != is_separated:
            self.problem(f"separation {said}, by linear programming {is_separated}; "
                         f"{self.fit.json['fit']['ending']}")
            return
        if self.peer.how == "error":
            self.count(f"separated, {said}: R ended with an error")
        elif self.peer.warnings:
            self.count(f"separated, {said}: R warned")
        else:
            self.count(f"separated, {said}: R said nothing")


def separates(design, codes, classes):
    """Whether some direction of the parameters moves no record away from its class and some towards it; None
    where the linear program could not be solved."""
    n, p = design.shape
    if p == 0:
        return False
    # The same columns, orthogonal and of like size.
    basis, triangle = numpy.linalg.qr(design)
    if not numpy.all(numpy.abs(numpy.diag(triangle)) > 0):
        return False
    # Records weigh alike; one without any value but rounding says nothing.
    sizes = numpy.abs(basis).max(axis=1, keepdims=True)
    basis = numpy.where(sizes > 1e-13, basis / sizes.clip(1e-13), 0.0)
    gains = []
    for i, code in enumerate(codes):
        for other in range(classes):
            if other == code:
                continue
            row = numpy.zeros((classes - 1, p))
            if code < classes - 1:
                row[code] += basis[i]
            if other < classes - 1:
                row[other] -= basis[i]
            gains.append(row.ravel())
    gains = numpy.unique(numpy.array(gains).round(13), axis=0)
    # The sum of the gains, each at most 1, as large as it can be.
    count, q = gains.shape
    cost = numpy.concatenate([numpy.zeros(q), -numpy.ones(count)])
    rows = numpy.hstack([-gains, numpy.eye(count)])
    # HiGHS 1.2 gives some programs up after it has made them smaller.
    for method, presolve, most in (("highs", True, None), ("highs", False, None), ("highs", True, 1e4),
                                   ("highs-ipm", True, 1e4), ("highs-ipm", False, 1e4)):
        solved = linprog(cost, A_ub=rows, b_ub=numpy.zeros(count), method=method, options={"presolve": presolve},
                         bounds=[(None if most is None else -most, most)] * q + [(0, 1)] * count)
        if solved.status == 0:
            return -solved.fun > 0.5
    # The theorem of the alternative (Stiemke 1915): there is no such direction if, and only if, positive multiples
    # of all gains sum to 0. What is left of the sum that is nearest to 0 is such a direction.
    whole = gains.sum(axis=0)
    multiples = lsq_linear(gains.T, -whole, bounds=(0, 1e3), method="bvls", max_iter=5000).x
    rest = gains.T @ multiples + whole
    if numpy.linalg.norm(rest) < 1e-9 * max(1.0, float(numpy.linalg.norm(whole))):
        return False
    moved = gains @ rest
    if moved.min() > -1e-9 * moved.max():
        return True
    return None
