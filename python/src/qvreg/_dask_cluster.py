"""Tasks of one fit on a Dask cluster: named, waited for with bounds, and given back."""

from __future__ import annotations

import pickle
import time
import uuid
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from typing import Any

import cloudpickle
import dask
import distributed

from ._arguments import is_whole
from ._passes import along_tree
from .errors import ArgumentError, DataError, LibraryError, QvregError

# How often a wait looks at the cluster, and how long that may take.
_LOOK_SECONDS = 1.0
_ANSWER_SECONDS = 30.0
_LOOKS_FOR_PARTS = 10


def cluster_client(client: Any) -> distributed.Client:
    """`client`, or the one of the caller; an exception where a fit cannot wait for it."""
    if client is None:
        try:
            client = distributed.get_client()
        except ValueError:
            raise ArgumentError("There is no Dask client. Make one, as in client = distributed.Client(\"host:8786\"), "
                                "and give it as client=.") from None
    if not isinstance(client, distributed.Client):
        raise ArgumentError(f"client={client!r}: a distributed.Client is needed.")
    if client.status in ("closing", "closed"):
        raise LibraryError(_CLOSED)
    if client.asynchronous:
        raise ArgumentError("The Dask client is asynchronous, and a fit waits for its tasks. Give one that was made "
                            "with asynchronous=False.")
    return client


def _same(data: bytes) -> bytes:
    return data


def opened(sent: bytes) -> Any:
    """What `Tasks.value` has sent."""
    return pickle.loads(sent)


class Tasks:
    """The tasks of one fit; no other fit's have their names.

    Parameters
    ----------
    client : distributed.Client
        The cluster.
    timeout : float
        For how many seconds to wait while the cluster has no worker or does not answer.
    """

    def __init__(self, client: distributed.Client, timeout: float) -> None:
        is_number = isinstance(timeout, float) or is_whole(timeout)
        if not is_number or not timeout > 0:
            raise ArgumentError(f"timeout={timeout!r}: a number of seconds above 0 is needed.")
        self.client = client
        self._timeout = float(timeout)
        self._id = uuid.uuid4().hex[:12]
        self._held: list[distributed.Future] = []

    def name(self, *words: Any) -> str:
        """The name of a task: words and numbers, and that of the fit. The dashboard shows the words before numbers."""
        shown = [f"{word:04d}" if isinstance(word, int) else word for word in words]
        return "-".join(["qvreg", *shown, self._id])

    def data(self, data: bytes, *words: Any) -> Any:
        """`data` for many tasks, which goes to the scheduler once, and to every worker that needs it.

        It is a task's result and not a constant: a worker that cannot read a constant, since it has another
        environment, dies of it, and a task there fails with a sentence.
        """
        return dask.delayed(_same, pure=False)(data, dask_key_name=self.name(*words))

    def value(self, value: Any, *words: Any) -> Any:
        """`value` for many tasks as bytes, of which `opened` makes each its own."""
        return self.data(cloudpickle.dumps(value), *words)

    def each(self, kind: str, function: Callable[..., Any], parts: Sequence[Any], *arguments: Any) -> list:
        """``function(number, part, *arguments)`` as a task for each of `parts`."""
        task = dask.delayed(function, pure=False, traverse=False)
        return [task(number, part, *arguments, dask_key_name=self.name(kind, "part", number))
                for number, part in enumerate(parts)]

    def joined(self, kind: str, function: Callable[..., Any], parts: Sequence[Any], *arguments: Any) -> Any:
        """The results of `parts` joined by tasks ``function(first, second, *arguments)`` along the tree."""
        task = dask.delayed(function, pure=False, traverse=False)

        def join(first: Any, second: Any, level: int, pair: int) -> Any:
            return task(first, second, *arguments, dask_key_name=self.name(kind, "join", level, pair))

        return along_tree(parts, join)

    def hold(self, parts: Sequence[Any]) -> list[distributed.Future]:
        """Has the cluster make `parts` and keep them until `release`."""
        futures = self._sent(list(parts))
        self._held += futures
        return futures

    def release(self, futures: Sequence[distributed.Future] | None = None) -> None:
        """Lets the cluster forget `futures`, or all: what is not made yet is cancelled. Never waits."""
        for future in list(self._held if futures is None else futures):
            self._held.remove(future)
            future.release()

    def result(self, task: Any, parts: Sequence[distributed.Future] = ()) -> Any:
        """What `task` comes to; an exception of a task of `parts` tells the number of its part."""
        future = self._sent(task)
        self._held.append(future)
        try:
            with _sentences(self.client, parts):
                self._wait(future)
                return future.result(timeout=self._timeout)
        finally:
            self.release([future])

    def _sent(self, tasks: Any) -> Any:
        """`tasks` on their way to the cluster, as futures."""
        try:
            return self.client.compute(tasks, optimize_graph=False)
        except Exception as error:
            if self.client.status == "running":
                raise
            raise LibraryError(_CLOSED) from error

    def _wait(self, future: distributed.Future) -> None:
        """Waits for `future` as long as there are workers to make it."""
        missed = None
        while True:
            try:
                distributed.wait([future], timeout=_LOOK_SECONDS)
                return
            except (TimeoutError, distributed.TimeoutError):
                pass
            fault = self._fault()
            if fault is None:
                missed = None
                continue
            missed = missed or time.monotonic()
            if time.monotonic() - missed > self._timeout:
                raise LibraryError(f"{fault} for {self._timeout:g} seconds: the fit has ended. Look at the cluster's "
                                   "logs, or give a longer timeout=.")

    def _fault(self) -> str | None:
        """What is wrong with the cluster, as the start of a sentence; None if nothing is."""
        if self.client.status == "closed":
            raise LibraryError(_CLOSED)
        try:
            scheduler = self.client.sync(self.client.scheduler.identity, callback_timeout=_ANSWER_SECONDS)
        except (OSError, TimeoutError, distributed.TimeoutError):
            return "The Dask scheduler has not answered"
        return None if scheduler["workers"] else "The Dask cluster has had no worker"


_CLOSED = "The Dask client was closed, or lost its scheduler, before the fit had ended."


@contextmanager
def _sentences(client: distributed.Client, parts: Sequence[distributed.Future]) -> Iterator[None]:
    """Turns what a task, or the cluster, raises into an exception of the package."""
    try:
        yield
    except QvregError:
        raise
    except distributed.CancelledError as error:
        if client.status != "running":
            raise LibraryError(_CLOSED) from error
        raise LibraryError("The tasks of the fit were cancelled, or data that only a lost worker had are "
                           "gone.") from error
    except distributed.scheduler.KilledWorker as error:
        raise LibraryError(f"{_first(parts)}The workers that ran the task {error.task} have died, one after the other: "
                           "it may need more memory than they have. Their logs say more; smaller partitions need "
                           "less.") from error
    except (TimeoutError, distributed.TimeoutError) as error:
        raise LibraryError("The Dask cluster does not hand over an answer that is there.") from error
    except Exception as error:
        if client.status != "running":
            raise LibraryError(_CLOSED) from error
        lines = str(error).splitlines()
        reason = f": {lines[0].rstrip('.')}" if lines else ""
        raise DataError(f"{_first(parts)}A task on the cluster has failed with {type(error).__name__}"
                        f"{reason}.") from error


def _first(parts: Sequence[distributed.Future]) -> str:
    """Names the first of `parts` that failed, of which the client hears about now; nothing without one."""
    for _ in range(_LOOKS_FOR_PARTS if parts else 0):
        for number, future in enumerate(parts):
            if future.status == "error":
                return f"Partition {number}: "
        time.sleep(_LOOK_SECONDS / _LOOKS_FOR_PARTS)
    return ""
