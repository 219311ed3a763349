"""Random tables, formulas and options: the same for the same seed and number."""

import contextlib
import csv
import math
import random
import sqlite3
from dataclasses import dataclass, field

TEXTS = ["a", "b", "c", "Z", "aa", 'say "no"', "o'clock", "x,y", "semi;colon", "Größe", "ä", "ß", "Łódź",
         "in between", "50 %", "1st", "=", "a:b", "[x]", "back`tick", "日本"]
BOOLEANS = [("false", "true"), ("no", "yes"), ("FALSE", "TRUE"), ("F", "T")]
ODD_NAMES = {"x": ["größe {}", "a {} b", "if {}", "{}."], "g": ["Ünder_{}", "per cent % {}", "y'{}", "a,{}"]}


# The others are tables of a SQLite database, which is read in half of the time.
CSV_EVERY = 3


def in_sql(name):
    return '"' + name.replace('"', '""') + '"'


@dataclass
class Variable:
    """A column of the table and how a formula, the command's JSON and R speak of it."""

    name: str
    r: str
    values: list  # numbers, or codes of levels; None where missing
    levels: list = None  # texts in the command's order
    is_number_as_factor: bool = False
    is_log: bool = False

    @property
    def quoted(self):
        plain = self.name.isascii() and self.name.replace("_", "").isalnum() and self.name[:2] != "if"
        return self.name if plain else f"`{self.name}`"

    @property
    def written(self):
        if self.is_number_as_factor:
            return f"C({self.quoted})"
        return f"log({self.quoted})" if self.is_log else self.quoted

    @property
    def key(self):
        return self.written if self.is_log else self.name

    @property
    def declared(self):
        if not self.levels:
            return "REAL"
        return "INTEGER" if self.levels[0].lstrip("-").isdigit() else "TEXT"

    def stored(self, i):
        value = self.values[i]
        return self.levels[value] if self.levels and value is not None else value

    def cell(self, i):
        value = self.values[i]
        if value is None:
            return ""
        return self.levels[value] if self.levels else repr(value)


@dataclass
class Term:
    """Factors crossed with each other and with powers of covariates, by positions of variables."""

    factors: tuple
    powers: dict = field(default_factory=dict)

    def variables(self):
        return [*self.factors, *self.powers]


class Table:
    """A table with the model to fit to it."""

    def __init__(self, seed, number):
        self.number = number
        self.rng = rng = random.Random(f"{seed} {number}")
        self.kind = rng.choices(["linear", "binary", "several"], [50, 28, 22])[0]
        self.special = rng.choices(
            ["", "perfect", "constant", "saturated", "all missing", "one level", "strong"],
            [82, 3, 2, 3, 2, 3, 5])[0]
        self.rows = int(math.exp(rng.uniform(math.log(5), math.log(401))))
        if self.special == "saturated":
            self.rows = rng.randint(5, 8)
        self.variables = []
        self.has_odd_names = rng.random() < 0.1
        numbers = rng.choice([0, 1, 1, 2, 2, 3, 4, 5])
        factors = rng.choice([0, 0, 1, 1, 2, 3]) if self.special != "one level" else rng.choice([1, 2])
        for i in range(numbers):
            self._add_number(i)
        for i in range(factors):
            self._add_factor(i)
        self._cut_values()
        self.intercept = rng.random() < 0.85 or not self.variables
        self.terms = [Term((k,)) if v.levels else Term((), {k: 1}) for k, v in enumerate(self.variables)]
        rng.shuffle(self.terms)
        self._add_products()
        self.dependent = self._response()
        self.frequency = self._weights(True) if rng.random() < 0.2 else None
        self.regression = self._weights(False) if rng.random() < 0.2 else None
        self._take_values_away()
        self.formula = self._written()
        self.options = self._drawn_options()

    # --- Columns ---
    def _name(self, plain, i):
        return self.rng.choice(ODD_NAMES[plain]).format(i) if self.has_odd_names else f"{plain}{i}"

    def _add_number(self, i):
        rng, n = self.rng, self.rows
        kind = rng.choice(["normal", "normal", "decimals", "whole", "offset", "offset", "skewed", "two values",
                           "dependent", "constant"])
        earlier = [v for v in self.variables if not v.levels]
        scale = 10.0 ** rng.uniform(-8, 8) if rng.random() < 0.5 else 1.0
        is_log = False
        if kind == "offset":
            base = 10.0 ** rng.uniform(1, 7)
            values = [scale * (base + rng.gauss(0, 1)) for _ in range(n)]
        elif kind == "decimals":
            values = [round(rng.gauss(5, 3), 2) for _ in range(n)]
        elif kind == "whole":
            values = [float(rng.randint(-3, rng.choice([3, 1000]))) for _ in range(n)]
        elif kind == "skewed":
            values = [scale * (0.01 + rng.expovariate(1)) for _ in range(n)]
            is_log = rng.random() < 0.4
        elif kind == "two values":
            values = [float(rng.random() < 0.4) for _ in range(n)]
        elif kind == "constant" and rng.random() < 0.3:
            values = [rng.choice([0.0, scale])] * n
        elif kind == "dependent" and earlier and rng.random() < 0.6:
            a, b = rng.choice(earlier).values, rng.choice(earlier).values
            values = [2 * x for x in a] if rng.random() < 0.5 else [x + y for x, y in zip(a, b)]
        elif kind == "dependent" and earlier:
            own = 10.0 ** rng.uniform(-6, -1)
            values = [x * (1 + own * rng.gauss(0, 1)) for x in rng.choice(earlier).values]
        else:
            values = [scale * rng.gauss(0, 1) for _ in range(n)]
        self.variables.append(Variable(self._name("x", i), f"x{i}", values, is_log=is_log))

    def _add_factor(self, i):
        rng = self.rng
        kind = rng.choice(["text", "text", "boolean", "number"])
        size = 2 if kind == "boolean" else rng.randint(2, 8)
        if self.special == "one level" and i == 0:
            kind, size = "text", 1
        if kind == "text":
            levels = sorted(rng.sample(TEXTS, size), key=lambda text: text.encode())
        elif kind == "boolean":
            levels = list(rng.choice(BOOLEANS))
        else:
            levels = [str(v) for v in sorted(rng.sample(range(-5, 100), size))]
        power = rng.choice([1, 1, 2, 4])  # With 4 the last levels are rare.
        codes = [min(size - 1, int(size * rng.random() ** power)) for _ in range(self.rows)]
        self.variables.append(Variable(self._name("g", i), f"g{i}", codes, levels, kind == "number"))

    def _cut_values(self):
        """Not so many parameters that the exact arithmetic takes long."""
        while sum(len(v.levels) if v.levels else 1 for v in self.variables) > 20:
            self.variables.remove(next(v for v in self.variables if v.levels))

    def _take_values_away(self):
        rng = self.rng
        for variable in [*self.variables, self.dependent, self.frequency, self.regression]:
            if variable is None or rng.random() > 0.25:
                continue
            share = rng.uniform(0, 0.2)
            variable.values = [None if rng.random() < share else v for v in variable.values]
        if self.special == "all missing":
            variable = rng.choice([*self.variables, self.dependent])
            gone = rng.random() < 0.5
            other = rng.choice([*self.variables, self.dependent])
            for i in range(self.rows):
                (variable if gone or i % 2 else other).values[i] = None

    def _weights(self, is_whole):
        rng = self.rng
        scale = 10.0 ** rng.uniform(-2, 2)
        zeros = rng.choice([0.0, 0.1, 0.3])
        values = [0.0 if rng.random() < zeros else
                  float(rng.randint(1, 5)) if is_whole else scale * rng.uniform(0.1, 3.0)
                  for _ in range(self.rows)]
        return Variable("f" if is_whole else "r", "f" if is_whole else "r", values)

    # --- Terms ---
    def _add_products(self):
        rng = self.rng
        numbers = [k for k, v in enumerate(self.variables) if not v.levels]
        plain = [k for k in numbers if not self.variables[k].is_log]
        factors = [k for k, v in enumerate(self.variables) if v.levels]
        self.stars, self.power_term = [], None
        if plain and rng.random() < 0.25:
            self.power_term = rng.choice(plain)
            self.terms.append(Term((), {self.power_term: 2}))
        if numbers and factors and rng.random() < 0.25:
            self._cross((rng.choice(factors),), {rng.choice(numbers): 1})
        if len(factors) > 1 and rng.random() < 0.3:
            pair = tuple(sorted(rng.sample(factors, 2)))
            if math.prod(len(self.variables[k].levels) for k in pair) <= 16:
                self._cross(pair, {})
        if len(numbers) > 1 and rng.random() < 0.15:
            self._cross((), {k: 1 for k in sorted(rng.sample(numbers, 2))})

    def _cross(self, factors, powers):
        term = Term(factors, powers)
        self.terms.append(term)
        if self.rng.random() < 0.5:
            self.stars.append(term)
        elif self.rng.random() < 0.15:  # Without the terms that it contains.
            alone = self.rng.choice(term.variables())
            self.terms = [t for t in self.terms if t is term or t.variables() != [alone] or 2 in t.powers.values()]

    def _written(self):
        rng, parts = self.rng, []
        starred = {k for term in self.stars for k in term.variables()}
        for term in self.terms:
            names = [self.variables[k].written for k in term.variables()]
            if term in self.stars:
                parts.append("*".join(names))
            elif len(names) > 1:
                parts.append(":".join(names))
            elif 2 in term.powers.values():
                parts.append(f"I({names[0]}^2)")
            elif term.variables()[0] not in starred:
                parts.append(names[0])
        square = f"I({self.variables[self.power_term].written}^2)" if self.power_term is not None else ""
        if square and rng.random() < 0.5:
            parts[parts.index(square)] = f"poly({self.variables[self.power_term].written}, 2)"
        if not self.intercept:
            parts = parts + ["- 1"] if rng.random() < 0.5 else ["0"] + parts
        text = " + ".join(parts) or "1"
        dependent = self.dependent.quoted
        return f"{dependent} ~ {text}".replace("+ - 1", "- 1")

    def written_terms(self):
        """The terms that the formula has: `a*b` and poly() bring main effects back."""
        brought = {k for term in self.stars for k in term.variables()}
        if self.power_term is not None and "poly(" in self.formula:
            brought.add(self.power_term)
        singles = {t.variables()[0] for t in self.terms if len(t.variables()) == 1 and 2 not in t.powers.values()}
        mains = [Term((k,)) if self.variables[k].levels else Term((), {k: 1}) for k in sorted(brought - singles)]
        return self.terms + mains

    # --- Response ---
    def _signal(self):
        """A sum of what each variable does, all of like size."""
        rng, n = self.rng, self.rows
        total = [0.0] * n
        for v in self.variables:
            if v.levels:
                effects = [rng.gauss(0, 1) for _ in v.levels]
                total = [t + effects[c] for t, c in zip(total, v.values)]
                continue
            mean = math.fsum(v.values) / n
            spread = math.sqrt(math.fsum((x - mean) ** 2 for x in v.values) / n) or 1.0
            slope = rng.gauss(0, 1)
            total = [t + slope * (x - mean) / spread for t, x in zip(total, v.values)]
        return total

    def _response(self):
        return self._number_response() if self.kind == "linear" else self._class_response()

    def _number_response(self):
        rng, n = self.rng, self.rows
        if self.special == "constant":
            return Variable("y", "y", [rng.choice([0.0, 7.0, 0.1])] * n)
        if self.special == "perfect":
            numbers = [v for v in self.variables if not v.levels and not v.is_log]
            codes = [v.values for v in self.variables if v.levels]
            return Variable("y", "y", [1.5 + math.fsum(2.0 * v.values[i] for v in numbers[:2])
                                       + sum(c[i] for c in codes[:1]) for i in range(n)])
        noise = 10.0 ** rng.uniform(-4, 1)
        scale = 10.0 ** rng.uniform(-8, 8) if rng.random() < 0.4 else 1.0
        offset = rng.choice([0.0, 0.0, 1.0, 1e3, 1e6])
        values = [scale * (offset + s + noise * rng.gauss(0, 1)) for s in self._signal()]
        if rng.random() < 0.3:
            values = [float(round(100 * v)) if abs(v) < 1e9 else v for v in values]
        return Variable("y", "y", values)

    def _class_response(self):
        rng, n = self.rng, self.rows
        count = 2 if self.kind == "binary" else rng.randint(3, 5)
        strength = rng.uniform(0, 1.5) if self.special != "strong" else 30.0
        scores = [[strength * s for s in self._signal()] for _ in range(count)]
        leaning = [rng.gauss(0, 0.5) for _ in range(count)]
        codes = []
        for i in range(n):
            etas = [scores[j][i] + leaning[j] for j in range(count)]
            top = max(etas)
            codes.append(rng.choices(range(count), [math.exp(e - top) for e in etas])[0])
        if self.special == "constant":
            codes = [0] * n
        style = rng.choice(["text", "number", "boolean"] if count == 2 else ["text", "number"])
        levels = [str(j) for j in range(count)]
        if style == "text":
            levels = sorted(rng.sample(TEXTS, count), key=lambda text: text.encode())
        elif style == "boolean":
            levels = list(rng.choice(BOOLEANS))
        return Variable("y", "y", codes, levels)

    def _drawn_options(self):
        rng, options = self.rng, []
        for name, variable in (("--freq-weight", self.frequency), ("--regression-weight", self.regression)):
            if variable:
                options += [name, variable.name]
        self.reference, self.criterion = "default", 1e-6
        if self.kind == "linear":
            return options
        options += ["--model", "logistic"]
        if rng.random() < 0.4:
            self.reference = rng.choice(["first", "last"])
            options += ["--reference", self.reference]
        if rng.random() < 0.5:
            self.criterion = 1e-10
            options += ["--parameter-criterion", "1e-10"]
        return options

    # --- What the table says ---
    def columns(self):
        return [v for v in [self.dependent, *self.variables, self.frequency, self.regression] if v]

    @property
    def is_csv(self):
        return self.number % CSV_EVERY == 0

    def write(self, folder):
        """Into a file of the folder; says how the command is told to read it."""
        if self.is_csv:
            self._write_csv(folder / "table.csv")
            # Names such as `0.` may be taken for values.
            return ["--data", folder / "table.csv", *(["--header", "yes"] if self.has_odd_names else [])]
        name = f"table {self.number}"
        with contextlib.closing(sqlite3.connect(folder / "tables.sqlite")) as database, database:
            columns = ", ".join(f"{in_sql(v.name)} {v.declared}" for v in self.columns())
            database.execute(f"CREATE TABLE {in_sql(name)} ({columns})")
            cells = ", ".join("?" for _ in self.columns())
            database.executemany(f"INSERT INTO {in_sql(name)} VALUES ({cells})",
                                 [[v.stored(i) for v in self.columns()] for i in range(self.rows)])
        return ["--data", folder / "tables.sqlite", "--table", name]

    def _write_csv(self, path):
        with open(path, "w", newline="", encoding="utf-8") as file:
            writer = csv.writer(file)
            writer.writerow([v.name for v in self.columns()])
            for i in range(self.rows):
                writer.writerow([v.cell(i) for v in self.columns()])

    def in_formula(self):
        positions = {k for term in self.written_terms() for k in term.variables()}
        return [self.variables[k] for k in sorted(positions)]

    def without_missing(self):
        """Rows with all values of the model's variables."""
        needed = [self.dependent, *self.in_formula()]
        return [i for i in range(self.rows) if all(v.values[i] is not None for v in needed)]

    def used(self):
        weights = [w for w in (self.frequency, self.regression) if w]
        return [i for i in self.without_missing() if all(w.values[i] for w in weights)]

    def frequencies(self, rows):
        return [self.frequency.values[i] if self.frequency else 1.0 for i in rows]

    def precisions(self, rows):
        return [self.regression.values[i] if self.regression else 1.0 for i in rows]
