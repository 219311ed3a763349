#!/usr/bin/env python3
"""Ends every command by every signal at moments drawn by lot.

    kills.py --command build/release/bin/qvreg --library build/release/lib/libqvreg.so
             --duckdb .deps/duckdb/libduckdb.so [--runs 500]

Each output is old or whole, inputs are untouched, a signal that the command catches leaves nothing
behind, and the run after any other removes what was left.
"""

import argparse
import collections
import os
import random
import signal
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from scene import OLD_DIGEST, VERBS, Scene, Tools, temporaries

SIGNALS = [signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGPIPE]
CAUGHT = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)
PIPE_CLOSED = 141
# The program that reads a record file leaves nothing to look at.
WRITERS = [verb for verb in VERBS if verb != "record-file"]


class Kills:
    """The runs of one verb in a scene of its own."""

    def __init__(self, scene, verb, draw):
        self.scene = scene
        self.verb = verb
        self._draw = draw
        self.counts = collections.Counter()
        self.ends = collections.Counter()
        self.problems = []
        scene.prepare(verb)
        scene.run(verb)
        scene.prepare(verb)
        begin = time.monotonic()
        self.whole = scene.run(verb)
        self._seconds = time.monotonic() - begin
        if self.whole.code != 0 or self.whole.left:
            sys.exit(f"{verb.name} fails undisturbed: {self.whole.err}")

    def kill(self, by):
        moment = self._draw.uniform(0, 1.1 * self._seconds)
        self.scene.prepare(self.verb)
        outcome = self._run_until(by, moment)
        self.counts[by.name] += 1
        for problem in self._judge(outcome, by):
            self.problems.append(f"{self.verb.name} {by.name} after {moment:.3f} s: {problem}\n"
                                 f"    code {outcome.code}, {outcome.err[:300]!r}")

    def _run_until(self, by, moment):
        begin = time.monotonic()
        process = self.scene.start(self.verb)
        time.sleep(max(0, begin + moment - time.monotonic()))
        if by == signal.SIGPIPE:
            # Nobody reads any more.
            process.stdout.close()
            process.stdout = None
        process.send_signal(by)
        return self.scene.finish(process)

    def _judge(self, outcome, by):
        if not self.scene.inputs_are_untouched():
            yield "an input was changed"
        for name in self.verb.outputs:
            if outcome.files.get(name) not in (self.whole.files[name], OLD_DIGEST):
                yield f"{name} is neither old nor whole"
        if outcome.code not in (0, -by, *self._codes(by)):
            yield "it ended otherwise"
        self.ends[self._end_of(outcome, by)] += 1
        if outcome.code == 0 and outcome.files != self.whole.files:
            yield "it got through with other outputs"
        if len(temporaries(outcome)) != len(outcome.left):
            yield f"left {[str(path) for path in outcome.left]}"
        elif outcome.left and outcome.code != -by:
            yield f"left {[path.name for path in outcome.left]}"
        elif outcome.left:
            self.counts["cleaned up by the next run"] += 1
        after = self.scene.run(self.verb)
        if after.code != 0 or after.left or after.files != self.whole.files:
            yield f"the next run did not do all: {after.code}, {after.left}, {after.err[:200]}"

    @staticmethod
    def _codes(by):
        if by == signal.SIGPIPE:
            return (PIPE_CLOSED,)
        return (128 + by,) if by in CAUGHT else ()

    def _end_of(self, outcome, by):
        if outcome.code == 0:
            return "finished"
        return "killed" if outcome.code == -by else "ended by itself"


def main():
    parser = argparse.ArgumentParser()
    for name in ("command", "library", "duckdb"):
        parser.add_argument("--" + name, type=Path, required=True)
    parser.add_argument("--runs", type=int, default=5, help="of each verb, the signals by turns")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(2**32))
    parser.add_argument("--verb", action="append")
    parser.add_argument("--rows", type=int, default=2000)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    # Where they were ignored, as in the background, the command would ignore them, too.
    for caught in CAUGHT:
        signal.signal(caught, signal.SIG_DFL)
    print(f"seed {options.seed}", flush=True)
    tools = Tools(options.command.resolve(), options.library.resolve(), options.duckdb.resolve())

    def one(name):
        begin = time.monotonic()
        with tempfile.TemporaryDirectory(prefix="qvreg-kills-") as folder:
            scene = Scene(folder, tools, options.rows)
            verb = next(verb for verb in scene.verbs if verb.name == name)
            kills = Kills(scene, verb, random.Random(f"{options.seed} {name}"))
            for run in range(options.runs):
                kills.kill(SIGNALS[run % len(SIGNALS)])
        print(f"{name}: {dict(kills.counts)}; {dict(kills.ends)}; "
              f"{time.monotonic() - begin:.0f} s", flush=True)
        return kills

    with ThreadPoolExecutor(options.jobs) as pool:
        done = list(pool.map(one, options.verb or WRITERS))
    problems = [problem for kills in done for problem in kills.problems]
    for problem in problems:
        print("FAILED", problem)
    total = sum(kills.counts[by.name] for kills in done for by in SIGNALS)
    print(f"{total} signals, {len(problems)} problems")
    sys.exit(1 if problems else 0)


main()
