"""How the iterations of a fit are shown."""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any

Report = Callable[[int, float], Any]


@contextmanager
def reporter(progress: Any) -> Iterator[Report | None]:
    """What a fit calls after an iteration, with its number and log-likelihood.

    `progress` is such a function, or whether to show a bar of tqdm: lines, where that is missing.
    """
    if callable(progress):
        yield progress
    elif not progress:
        yield None
    else:
        with _bar() as report:
            yield report


@contextmanager
def _bar() -> Iterator[Report]:
    try:
        from tqdm.auto import tqdm
    except ImportError:
        yield _print_line
        return
    with tqdm(desc="qvreg", unit=" iterations") as bar:

        def show(iteration: int, log_likelihood: float) -> None:
            bar.set_postfix_str(f"log-likelihood {log_likelihood:.8g}", refresh=False)
            bar.update(iteration - bar.n)

        yield show


def _print_line(iteration: int, log_likelihood: float) -> None:
    print(f"qvreg: iteration {iteration}, log-likelihood {log_likelihood:.8g}", file=sys.stderr)
