"""The logistic cases: a table, a formula, weights and the reference category."""

from dataclasses import dataclass


@dataclass
class Case:
    name: str
    data: str
    formula: str
    freq: str = ""
    regr: str = ""
    reference: str = "last"

    def weights(self):
        return [name for name in (self.freq, self.regr) if name]

    def options(self):
        """How to fit the case with the command."""
        options = ["--model", "logistic", "--reference", self.reference]
        if self.freq:
            options += ["--freq-weight", self.freq]
        if self.regr:
            options += ["--regression-weight", self.regr]
        return options


BINARY = [
    Case("binary", "made", "two ~ x + z"),
    Case("binary_first", "made", "two ~ g + x", reference="first"),
    Case("binary_factor", "made", "two ~ g + x"),
    Case("binary_crossing", "made", "two ~ a * b"),
    Case("binary_freq", "made", "two ~ g * x", freq="n"),
    Case("binary_regr", "made", "two ~ g * x", regr="r"),
    Case("binary_both_weights", "made", "two ~ g * x", freq="n", regr="r"),
    Case("binary_no_intercept", "made", "two ~ 0 + x + z"),
    Case("binary_intercept_only", "made", "two ~ 1"),
    Case("binary_intercept_only_regr", "made", "two ~ 1", regr="r"),
    Case("binary_missing", "holes", "two ~ g + x + z", freq="n", regr="r"),
]

THREE = [
    Case("three", "made", "three ~ g + x"),
    Case("three_first", "made", "three ~ g + x", reference="first"),
    Case("three_middle", "made", "three ~ g + x", reference="deny"),
    Case("three_crossing", "made", "three ~ a * b + z"),
    Case("three_nested", "made", "three ~ a / b + x"),
    Case("three_crossing_alone", "made", "three ~ a:g + z"),
    Case("three_powers", "made", "three ~ x + I(x^2) + I(x^3)"),
    Case("three_slopes", "made", "three ~ g + x + g:x"),
    Case("three_slopes_only", "made", "three ~ g:x"),
    Case("three_square_by_factor", "made", "three ~ g + z + I(z^2) + g:I(z^2)"),
    Case("three_products", "made", "three ~ x + g + z + x:z + g:x:z"),
    Case("three_redundant", "made", "three ~ x + x2 + z"),
    Case("three_redundant_sum", "made", "three ~ x + z + s + g"),
    Case("three_freq", "made", "three ~ g + x + z", freq="n"),
    Case("three_regr", "made", "three ~ g + x + z", regr="r"),
    Case("three_both_weights", "made", "three ~ g + x + z", freq="n", regr="r", reference="first"),
    Case("three_both_no_intercept", "made", "three ~ 0 + g + x", freq="n", regr="r"),
    Case("three_no_intercept", "made", "three ~ 0 + x + z"),
    Case("three_no_intercept_factors", "made", "three ~ 0 + a + g"),
    Case("three_intercept_only", "made", "three ~ 1", reference="first"),
    Case("three_intercept_only_freq", "made", "three ~ 1", freq="n"),
    Case("three_intercept_only_both", "made", "three ~ 1", freq="n", regr="r"),
    Case("three_unobserved", "holes", "three ~ g + x", freq="n"),
    Case("three_unobserved_reference", "holes", "three ~ g + x", freq="n", reference="deny"),
]

SEVEN = [
    Case("seven", "made", "seven ~ g + x"),
    Case("seven_first", "made", "seven ~ g + x + z", reference="first"),
    Case("seven_middle", "made", "seven ~ g + x + z", reference="4"),
    Case("seven_slopes", "made", "seven ~ g * x"),
    Case("seven_freq", "made", "seven ~ x + z + I(z^2)", freq="n"),
    Case("seven_both_weights", "made", "seven ~ g + x + z", freq="n", regr="r"),
    Case("seven_no_intercept", "made", "seven ~ 0 + g + x"),
    Case("seven_redundant", "made", "seven ~ x + x2 + g"),
    Case("seven_intercept_only", "made", "seven ~ 1"),
    Case("seven_unobserved", "holes", "seven ~ g + x", freq="n"),
    Case("seven_unobserved_middle", "holes", "seven ~ x + z", freq="n", reference="4"),
]

REAL = [
    Case("birthwt", "birthwt", "low ~ age + lwt + C(race) + smoke + ptl + ht + ui + ftv",
         reference="first"),
    Case("birthwt_powers", "birthwt", "low ~ lwt + I(lwt^2) + C(race) * smoke"),
    Case("birthwt_race", "birthwt", "race ~ age + lwt + smoke", reference="first"),
    Case("housing", "housing", "Sat ~ Infl + Type + Cont", freq="Freq", reference="Low"),
    Case("housing_crossings", "housing", "Sat ~ Infl * Type + Type:Cont + Cont", freq="Freq"),
    Case("infert", "infert", "case ~ spontaneous + induced", reference="first"),
    Case("infert_factors", "infert",
         "case ~ age + parity + education + C(spontaneous) + C(induced)", reference="first"),
    Case("infert_education", "infert", "education ~ age + parity + C(induced)"),
    Case("esoph", "esoph", "outcome ~ agegp + alcgp + tobgp", freq="count"),
    Case("esoph_crossing", "esoph", "outcome ~ alcgp * tobgp", freq="count", reference="case"),
    Case("iris_two", "iris_two",
         "species ~ sepal_length + sepal_width + petal_length + petal_width"),
    Case("flights", "flights", "late ~ distance + origin", reference="first"),
    Case("flights_square", "flights", "late ~ distance + I(distance^2)", reference="first"),
    Case("flights_arrival", "flights", "arrival ~ distance + origin"),
]

CASES = BINARY + THREE + SEVEN + REAL


@dataclass
class NoFit:
    """A case without a maximum, or one whose information matrix loses a column on the way: how its
    iterations must end, and why."""

    name: str
    data: str
    formula: str
    outcome: int
    why: str

    def options(self):
        return ["--model", "logistic", "--reference", "last"]


# How the library numbers them.
SINGULAR, COMPLETE, QUASI = 4, 7, 8

NO_FITS = [
    NoFit("complete", "complete", "answer ~ x", COMPLETE, "no below 10, yes from 10 on"),
    NoFit("complete_three", "complete", "level ~ x + z", COMPLETE, "three stretches of x"),
    NoFit("one_group", "one_group", "answer ~ g + x", QUASI, "every answer of group c is yes"),
    NoFit("iris", "iris",
          "species ~ sepal_length + sepal_width + petal_length + petal_width", QUASI,
          "setosa lies apart, the others overlap"),
    NoFit("near_copy", "near_copy", "answer ~ x + y", SINGULAR,
          "y differs from x only where the answer is all but certain"),
]


# Fits that a test of separation or singularity must let alone, and data that it must not: far from
# 0, in odd units, with rare cells. `outcome` is 0 where there is a maximum.
@dataclass
class Extreme(Case):
    outcome: int = 0


def both_groups(name, **rest):
    """The case with either group as base."""
    return [Extreme(f"{name}_{group}", "cells", f"answer ~ {group}", **rest) for group in "gh"]


EXTREMES = [
    Extreme("incomes", "far", "answer ~ income"),
    Extreme("incomes_z", "far", "answer ~ income + z"),
    Extreme("mean", "far", "answer ~ mean"),
    Extreme("mean_z", "far", "answer ~ z + mean"),
    Extreme("outlier_with", "far", "with ~ outlier"),
    Extreme("outlier_with_z", "far", "with ~ outlier + z"),
    Extreme("outlier_against", "far", "against ~ outlier"),
    Extreme("outlier_against_z", "far", "against ~ outlier + z"),
    *both_groups("cells_third", freq="third"),
    *both_groups("cells_rare", freq="rare"),
    *both_groups("cells_opposite", freq="opposite"),
    *both_groups("cells_one", freq="one"),
    Extreme("levels_last", "levels", "answer ~ g", freq="last"),
    Extreme("levels_steps", "levels", "answer ~ g", freq="steps"),
    Extreme("apart_mixed", "apart", "mixed ~ x + z + g"),
    Extreme("shuttle", "shuttle", "Class ~ V1 + V2 + V3 + V4"),
    Extreme("shuttle_part", "shuttle", "Part ~ V1 + V2 + V3 + V4", outcome=QUASI),
    *both_groups("cells_all", freq="all", outcome=QUASI),
    *both_groups("cells_none", freq="none", outcome=QUASI),
    *both_groups("cells_few", freq="few", outcome=QUASI),
    *[Extreme(f"touching_{x}{'_z' * z}", "touching", f"answer ~ {x}{' + z' * z}", outcome=QUASI)
      for x in ("x", "bytes", "small", "shifted") for z in (False, True)],
    *[Extreme(f"apart_{name}_{base}", "apart", f"{name} ~ x + z + g", reference=base,
              outcome=QUASI)
      for name in ("one", "level", "whole") for base in ("ape", "bee", "cat")],
]
