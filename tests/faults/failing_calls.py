#!/usr/bin/env python3
"""Makes one call of every command fail after the other, of the system and of DuckDB.

    failing_calls.py --command build/release/bin/qvreg --library build/release/lib/libqvreg.so
                     --faults build/release/lib/libqvreg_faults.so --duckdb .deps/duckdb/libduckdb.so

Either the run gets through, with the outputs of an undisturbed one; or it fails with one sentence that
names a file, a code other than 0, and old outputs. Nothing of it is left, and inputs are untouched.
Without --all some of the calls fail, drawn by lot: of every name and place the first, and others.
"""

import argparse
import collections
import os
import random
import re
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from scene import OLD_DIGEST, TEMPORARY, VERBS, Scene, Tools, temporaries

WRITING = {"write", "pwrite", "writev", "openat", "open", "mkdir", "rename", "fsync", "fdatasync",
           "ftruncate", "fallocate", "close"}
WAITING = {"read", "pread", "readv", "write", "pwrite", "writev", "openat", "open", "fsync", "flock",
           "ftruncate", "fallocate", "close"}
# A folder stays where one of these fails; the next run removes it.
REMOVING = {"unlink", "unlinkat", "rmdir", "getdents", "openat", "fstat", "fstatat", "lseek", "mkdir",
            "flock", "fcntl"}
# What is not so where the system answers with an error.
WRONG_REASONS = re.compile("belongs to another|There is no file|does not exist|is known neither")
# One line, or more that show a place in a formula.
SENTENCE = re.compile(r"qvreg: [^\n]*[.!?]\n(  [^\n]*\n)*")


class Call:
    """A call that an undisturbed run makes."""

    def __init__(self, line):
        number, self.name, self.about = line.rstrip("\n").split(" ", 2)
        self.number = int(number)

    def place(self):
        """Where it is made, the same in other runs."""
        return self.name, TEMPORARY.sub("*", self.about)

    def is_temporary(self):
        return TEMPORARY.search(self.about) is not None


class Failures:
    """The runs of one verb in a scene of its own."""

    def __init__(self, scene, verb, faults):
        self.scene = scene
        self.verb = verb
        self._faults = faults
        self.whole = self._undisturbed()
        self.counts = collections.Counter()
        self.by_name = collections.Counter()
        self.problems = []

    def _undisturbed(self):
        self.scene.prepare(self.verb)
        outcome = self.scene.run(self.verb)
        if outcome.code != 0 or outcome.left:
            sys.exit(f"{self.verb.name} fails undisturbed: {outcome.err}")
        return outcome

    def _run(self, how, at):
        log = self.scene.folder / "log"
        log.unlink(missing_ok=True)
        self.scene.prepare(self.verb)
        outcome = self.scene.run(self.verb, {
            "LD_PRELOAD": str(self._faults), "QVREG_FAULT_HOW": how,
            "QVREG_FAULT_FOLDER": str(self.scene.folder), "QVREG_FAULT_LOG": str(log),
            "QVREG_FAULT_AT": str(at)})
        lines = []
        if log.exists():
            with open(log, encoding="utf-8", errors="replace") as file:
                lines = [line for line in file if re.match(r"\d+ \w+ ", line)]
        return outcome, [Call(line) for line in lines]

    def calls(self, how):
        outcome, calls = self._run(how, 0)
        if outcome.code != 0:
            sys.exit(f"{self.verb.name} fails when it is watched: {outcome.err}")
        return calls

    def fail(self, how, at):
        outcome, calls = self._run(how, at)
        if not calls:
            self.counts["not reached"] += 1
        call = calls[0] if calls else None
        name = call.name if call else "nothing"
        self.by_name[how, name] += 1
        for problem in self._judge(outcome, call, how):
            about = call.about[:160] if call else ""
            self.problems.append(f"{self.verb.name} {how} at {at} ({name} {about}): {problem}\n"
                                 f"    code {outcome.code}, {outcome.err[:300]!r}")

    def _judge(self, outcome, call, how):
        if not self.scene.inputs_are_untouched():
            yield "an input was changed"
        yield from self._judge_rest(outcome, call)
        for name in self.verb.outputs:
            if outcome.files.get(name) not in (self.whole.files[name], OLD_DIGEST):
                yield f"{name} is neither old nor whole"
        if outcome.code == 0:
            self.counts["through"] += 1
            if outcome.files != self.whole.files or outcome.out != self.whole.out:
                yield "it got through with other outputs"
            if outcome.err != self.whole.err:
                yield "it got through with other messages"
            return
        self.counts["failed"] += 1
        yield from self._judge_failure(outcome, call, how)

    def _judge_rest(self, outcome, call):
        if not outcome.left:
            return
        if len(temporaries(outcome)) != len(outcome.left):
            yield f"left {[str(path) for path in outcome.left]}"
        elif call is None or call.name not in REMOVING:
            yield f"left {[list(path.iterdir()) or str(path) for path in outcome.left]}"
        else:
            self.counts["left until the next run"] += 1
            after = self.scene.run(self.verb)
            if after.code != 0 or after.left:
                yield "the next run did not remove what was left"

    def _judge_failure(self, outcome, call, how):
        if outcome.code not in (1, 2):
            yield "not a code of the command"
        if not SENTENCE.fullmatch(outcome.err):
            yield "not one sentence"
        if "Unexpected error" in outcome.err:
            yield "an unexpected error"
        if call is not None and call.name == "flock":
            yield "a folder that could not be locked was lost"
        if WRONG_REASONS.search(outcome.err):
            yield "a reason that is not so"
        names = (str(self.scene.folder), "standard input")
        if how not in ("ENGINE", "SILENT") and not any(name in outcome.err for name in names):
            yield "no file is named"
        renamed = call is not None and call.name in ("rename", "fsync", "openat")
        if any(outcome.files.get(name) != OLD_DIGEST for name in self.verb.outputs) and not renamed:
            yield "outputs were replaced nevertheless"



def planned(failures, options, draw):
    """Pairs of how and which call fails."""
    plan = []
    for how in options.how:
        listed = "EIO" if how in ("ENOSPC", "EINTR") else how
        calls = failures.calls(listed)
        if not calls and how == "EIO":
            sys.exit("no call is seen: is the library of --faults the right one?")
        if how == "ENOSPC":
            calls = [call for call in calls if call.name in WRITING]
        if how == "EINTR":
            calls = [call for call in calls if call.name in WAITING]
        if options.all:
            plan += [(how, call.number) for call in calls]
            continue
        draw.shuffle(calls)
        places = {call.place(): call for call in calls}
        some = list(places.values())
        draw.shuffle(some)
        # A folder that is not locked was taken for an abandoned one.
        always = [call for call in calls if how == "EIO" and call.name == "flock"]
        plan += [(how, call.number) for call in always[:4] + some[:options.runs]]
    return plan


def main():
    parser = argparse.ArgumentParser()
    for name in ("command", "library", "faults", "duckdb"):
        parser.add_argument("--" + name, type=Path, required=True)
    parser.add_argument("--all", action="store_true")
    parser.add_argument("--runs", type=int, default=8, help="of each verb and way, without --all")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(2**32))
    parser.add_argument("--verb", action="append")
    parser.add_argument("--how", action="append")
    parser.add_argument("--rows", type=int, default=200)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    options.how = options.how or ["EIO", "ENOSPC", "EINTR", "short", "ENGINE", "SILENT"]
    print(f"seed {options.seed}", flush=True)
    tools = Tools(options.command.resolve(), options.library.resolve(), options.duckdb.resolve())

    def one(name):
        begin = time.monotonic()
        with tempfile.TemporaryDirectory(prefix="qvreg-faults-") as folder:
            scene = Scene(folder, tools, options.rows)
            verb = next(verb for verb in scene.verbs if verb.name == name)
            failures = Failures(scene, verb, options.faults.resolve())
            for how, at in planned(failures, options, random.Random(f"{options.seed} {name}")):
                failures.fail(how, at)
        kinds = collections.Counter()
        for (how, _), count in failures.by_name.items():
            kinds[how] += count
        print(f"{name}: {dict(kinds)}; {dict(failures.counts)}; "
              f"{time.monotonic() - begin:.0f} s", flush=True)
        return failures

    with ThreadPoolExecutor(options.jobs) as pool:
        done = list(pool.map(one, options.verb or VERBS))
    problems = [problem for failures in done for problem in failures.problems]
    for problem in problems:
        print("FAILED", problem)
    total = sum(sum(failures.by_name.values()) for failures in done)
    print(f"{total} calls failed, {len(problems)} problems")
    sys.exit(1 if problems else 0)


main()
