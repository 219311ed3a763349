#!/usr/bin/env python3
"""Random tables fitted by the command, by R, and some of them exactly; what differs, and by how much.

    python3 tests/differential/run.py COMMAND [--tables 20000] [--seed 1] [--first 0]

A table is the same for the same seed and number: --first N --tables 1 fits table N alone. Every number
that the command and R both give is compared by the rule of bounds.py. Every tenth table, all with an
ill-conditioned design and all about which the two differ are fitted exactly: in fractions, logistic ones in 60
digits. Ends with 1 where the command is wrong; that R is, by the exact fit, is listed.
"""

import argparse
import os
import sys
import tempfile
import time
import traceback
from concurrent.futures import ProcessPoolExecutor
from pathlib import Path

os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")

import fits  # noqa: E402
import judge  # noqa: E402
from tables import Table  # noqa: E402

BATCH = 200


def examine(command, seed, numbers):
    """A batch: one process of R fits all of its tables."""
    findings = judge.Findings()
    with tempfile.TemporaryDirectory(prefix="qvreg-differential-") as name:
        folder = Path(name)
        peers = fits.PeerInput(folder)
        pairs = []
        for number in numbers:
            table = Table(seed, number)
            fit = fits.Fit(command, table, folder)
            peers.add(table, fit)
            pairs.append((table, fit))
        answers = peers.run()
        for table, fit in pairs:
            of_table = judge.Judge(table, fit, answers[table.number], findings)
            try:
                of_table.run()
            except (ArithmeticError, LookupError, ValueError, TypeError):
                of_table.problem("the comparison failed: " + traceback.format_exc())
    return findings


def show(findings, seconds):
    print("tables")
    for kind, count in sorted(findings.kinds.items()):
        print(f"{count:8} {kind}")
    print("what became of them")
    for outcome, count in sorted(findings.outcomes.items()):
        print(f"{count:8} {outcome}")
    print("numbers compared, the largest difference as a share of what is allowed, and its table")
    for key in sorted({*findings.compared, *findings.worst}):
        ratio, number = findings.worst.get(key, (0.0, 0))
        print(f"{findings.compared[key]:8} {key[0]:6} {key[1]:25} {ratio:9.2g}  {number}")
    for text in findings.peer_wrong:
        print("R is further from the exact fit than allowed:", text)
    print(f"{sum(findings.kinds.values())} tables, {sum(findings.compared.values())} numbers compared, "
          f"{len(findings.peer_wrong)} tables in which R is wrong, {len(findings.problems)} problems; "
          f"{seconds:.0f} s")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("command", type=Path)
    parser.add_argument("--tables", type=int, default=20000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--first", type=int, default=0)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    print(f"seed {options.seed}, tables {options.first} to {options.first + options.tables - 1}", flush=True)
    begin = time.monotonic()
    numbers = range(options.first, options.first + options.tables)
    batches = [numbers[k:k + BATCH] for k in range(0, len(numbers), BATCH)]
    findings = judge.Findings()
    with ProcessPoolExecutor(options.jobs) as pool:
        jobs = [pool.submit(examine, options.command.resolve(), options.seed, batch) for batch in batches]
        for done, job in enumerate(jobs, 1):
            found = job.result()
            findings.add(found)
            for text in found.problems:
                print("DIFFERS:", text, flush=True)
            if sys.stderr.isatty():
                print(f"\r{min(done * BATCH, len(numbers))} tables", end="", file=sys.stderr, flush=True)
    show(findings, time.monotonic() - begin)
    sys.exit(1 if findings.problems else 0)


if __name__ == "__main__":
    main()
