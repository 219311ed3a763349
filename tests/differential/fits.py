"""Fits of the command and of R, and the columns that the command's parameters stand for."""

import json
import math
import struct
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

import numpy

SCRIPT = Path(__file__).with_name("peer.R")


class Fit:
    """What the command said of a table."""

    def __init__(self, command, table, folder):
        arguments = [command, "fit", *table.write(folder), "--formula", table.formula, *table.options, "--json", "-"]
        done = subprocess.run(arguments, capture_output=True, text=True, encoding="utf-8", check=False)
        self.table = table
        self.code, self.message = done.returncode, done.stderr.strip()
        self.json = json.loads(done.stdout) if done.returncode == 0 else None
        if self.json:
            self._read(table)

    def _read(self, table):
        parameters = self.json["parameters"]
        self.categories = list(dict.fromkeys(p["category"] for p in parameters)) if table.kind != "linear" else [None]
        self.blocks = [[p for p in parameters if p.get("category") == c] for c in self.categories]
        self.columns = [Column(table, p) for p in self.blocks[0]]
        self.kept = [k for k, p in enumerate(self.blocks[0]) if not p["redundant"]]
        self.kept_parameters = [block[k] for block in self.blocks for k in self.kept]
        self.estimates = numpy.array([p["estimate"] for p in self.kept_parameters])
        self.rows = table.used()
        self.design = numpy.array([[self.columns[k].value(table, i) for k in self.kept] for i in self.rows])
        self.design = self.design.reshape(len(self.rows), len(self.kept))
        self.weights = numpy.array([f * r for f, r in zip(table.frequencies(self.rows), table.precisions(self.rows))])
        self.n = sum(table.frequencies(self.rows))

    def numbers(self):
        """Numbers about the whole fit, by the names that are compared."""
        fit, records = self.json["fit"], self.json["records"]
        names = {"loglik": "log_likelihood", "loglik_initial": "initial_log_likelihood", "p_value": "chi_square_p"}
        numbers = {names.get(name, name): value for name, value in fit.items()
                   if isinstance(value, (int, float)) and not isinstance(value, bool)}
        return numbers | {"degrees_of_freedom": self.json["degrees_of_freedom"], "used": records["used"]}

    def shares(self):
        """Of each column, kept or not, what the kept ones before leave of its length, by orthogonal
        projections repeated."""
        root, basis, shares = numpy.sqrt(self.weights), [], []
        table = self.table
        for k, column in enumerate(self.columns):
            values = root * numpy.array([column.value(table, i) for i in self.rows])
            size = numpy.linalg.norm(values)
            rest = values
            for _ in range(2):
                for q in basis:
                    rest = rest - q * (q @ rest)
            left = numpy.linalg.norm(rest)
            shares.append(left / size if size > 0 else 0.0)
            if k in self.kept and left > 0:
                basis.append(rest / left)
        return shares


@dataclass
class Column:
    """A column of the design: levels of factors, powers of covariates."""

    levels: list  # (variable, code)
    powers: list  # (variable, power)

    def __init__(self, table, parameter):
        by_key = {v.key: v for v in table.variables}
        by_name = {v.name: v for v in table.variables}
        self.levels = [(by_name[name], by_name[name].levels.index(level))
                       for name, level in parameter["levels"].items()]
        self.powers = [(by_key[name], power) for name, power in parameter["covariates"].items()]

    def value(self, table, i, number=float):
        del table
        if any(v.values[i] != code for v, code in self.levels):
            return number(0)
        product = number(1)
        for v, power in self.powers:
            product *= number(math.log(v.values[i]) if v.is_log else v.values[i]) ** power
        return product

    def peer_name(self, single):
        """As peer.R reads it; `single`: variables of one level, which are left out there."""
        parts = [f"{v.r}={code + 1}" for v, code in self.levels if v not in single]
        parts += [f"{'log(' + v.r + ')' if v.is_log else v.r}^{power}" for v, power in self.powers]
        return ";".join(parts) or ("one^1" if self.levels else "1")


def peer_formula(table, single):
    """R's formula of the same model, written out. R refuses a factor of one level: it is left out, and a
    term of nothing else is a constant."""
    terms = []
    for term in table.written_terms():
        left = [k for k in term.variables() if table.variables[k] not in single]
        parts = []
        for k in left:
            v = table.variables[k]
            name = f"log({v.r})" if v.is_log else v.r
            parts.append(f"I({name}^2)" if term.powers.get(k) == 2 else name)
        if parts:
            terms.append(":".join(parts))
        elif not table.intercept:
            terms.append("one")
    return "y ~ " + " + ".join(["1" if table.intercept else "0", *dict.fromkeys(terms)])


def single_levels(table, rows):
    return [v for v in table.in_formula() if v.levels and len({v.values[i] for i in rows}) == 1]


class PeerInput:
    """Tables for peer.R."""

    def __init__(self, folder):
        self.folder = folder
        self.lines, self.numbers = [], []

    def add(self, table, fit):
        used = table.used()
        single = single_levels(table, used)
        needed = [table.dependent, *single]
        # A record of frequency f is f records in R. What is missing stays so, but for the factors left out.
        rows = [i for i in range(table.rows) if not table.frequency or table.frequency.values[i]]
        rows = [i for i in rows if all(v.values[i] is not None for v in needed)]
        rows = [i for i, f in zip(rows, table.frequencies(rows)) for _ in range(int(f))]
        codes, kind = table.dependent.values, table.kind
        columns = [("y", 0, [codes[i] for i in rows])]
        if kind != "linear":
            order = class_order(table, used)
            kind = "binary" if len(order) <= 2 else "several"
            # Classes that no used record has are left out by their records' weights, or do not occur.
            values = [order.index(codes[i]) if codes[i] in order else None for i in rows]
            columns = [("y", 0, values) if kind == "binary" else
                       ("y", len(order), [None if v is None else v + 1 for v in values])]
        for v in table.variables:
            if v not in single:
                plus = 1 if v.levels else 0
                columns.append((v.r, len(v.levels or []), [None if v.values[i] is None else v.values[i] + plus
                                                           for i in rows]))
        if table.regression:
            columns.append(("w", 0, [table.regression.values[i] for i in rows]))
        columns.append(("one", 0, [1.0] * len(rows)))
        kept = [fit.columns[k].peer_name(single) for k in fit.kept] if fit.json else ["1"]
        described = ",".join(f"{name}:{size}" for name, size, _ in columns)
        self.lines.append("\t".join([str(table.number), kind, peer_formula(table, single), str(len(rows)), described,
                                     "|".join(kept)]))
        self.numbers += [math.nan if v is None else float(v) for _, _, values in columns for v in values]

    def run(self):
        """R's answers by the number of the table."""
        (self.folder / "models.tsv").write_text("".join(line + "\n" for line in self.lines), encoding="utf-8")
        (self.folder / "numbers.bin").write_bytes(struct.pack(f"<{len(self.numbers)}d", *self.numbers))
        subprocess.run(["Rscript", "--vanilla", SCRIPT, self.folder], check=True, stdin=subprocess.DEVNULL)
        peers = {int(line.split("\t")[0]): Peer() for line in self.lines}
        for line in (self.folder / "peer.tsv").read_text(encoding="utf-8").splitlines():
            number, what, *rest = line.rstrip().split("\t")
            peers[int(number)].read(what, rest)
        return peers


def class_order(table, used):
    """Codes of the levels of the dependent that occur, the reference first, the others in their order."""
    codes = sorted({table.dependent.values[i] for i in used})
    is_first = {"default": len(codes) <= 2, "first": True, "last": False}[table.reference]
    return codes if is_first else codes[-1:] + codes[:-1]


@dataclass
class Peer:
    """What R said of a table."""

    how: str = ""  # "own": R keeps the same columns; "same columns": fitted again on those kept here; "error"
    why: str = ""
    warnings: list = field(default_factory=list)
    numbers: dict = field(default_factory=dict)  # (value, slope of p values)
    parameters: dict = field(default_factory=dict)  # by name: estimate, error, statistic, p, slope

    def read(self, what, rest):
        if what == "warning":
            self.warnings.append(rest[0])
        elif what == "end":
            self.how, self.why = rest[0], rest[1] if len(rest) > 1 else ""
        else:
            values = [number_of(text) for text in rest[1:]]
            (self.numbers if what == "number" else self.parameters)[rest[0]] = values


def number_of(text):
    return math.nan if text in ("NA", "NaN") else float(text)
