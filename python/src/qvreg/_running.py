"""A long call of the library that Ctrl-C can end.

The call is made by a thread of its own, without the interpreter's lock. The calling thread waits for
it, runs what the library calls back, and cancels the component when it is interrupted.
"""

from __future__ import annotations

import queue
import threading
from collections.abc import Callable
from typing import Any

from . import _library as lib

# Waits without a time limit cannot be interrupted under Windows.
_WAIT_SECONDS = 0.1


class Call:
    """One interruptible call on a component, and the callbacks that it makes."""

    def __init__(self) -> None:
        self._messages: queue.SimpleQueue = queue.SimpleQueue()
        self._failure: BaseException | None = None

    def back(self, function: Callable[..., Any]) -> Callable[..., Any]:
        """`function` for a callback of the library: it runs on the thread that waits.

        Returns None where it raised an exception, or the call was interrupted: both end the call.
        """

        def called(*arguments: Any) -> Any:
            answer: queue.SimpleQueue = queue.SimpleQueue()
            self._messages.put((function, arguments, answer))
            # An interrupt may fall between any two steps of the other thread, and the message be lost.
            while self._failure is None:
                try:
                    return answer.get(timeout=_WAIT_SECONDS)
                except queue.Empty:
                    pass
            return None

        return called

    def run(self, component: lib.Handle, function: str, *arguments: Any) -> lib.Error:
        """Calls ``qvreg_<function>`` with `component` first; returns its error, a warning perhaps.

        Raises what a callback raised, and KeyboardInterrupt after the library has stopped.
        """
        outcome: list = []

        def work() -> None:
            outcome.append(lib.attempt(function, component, *arguments))
            self._messages.put(None)

        # The thread holds the component, and so what the library reads, as long as it runs.
        worker = threading.Thread(target=work, name="qvreg", daemon=True)
        worker.start()
        while worker.is_alive():
            try:
                self._serve(worker)
            except BaseException as failure:
                self._failure = self._failure or failure
                lib.call("component_cancel", component)
        if self._failure is not None:
            raise self._failure
        code, error = outcome[0]
        if code != lib.OK:
            raise lib.failure(code, error)
        return error

    def _serve(self, worker: threading.Thread) -> None:
        """Runs callbacks until `worker` has ended."""
        while worker.is_alive():
            try:
                message = self._messages.get(timeout=_WAIT_SECONDS)
            except queue.Empty:
                continue
            if message is None:
                worker.join()
                return
            function, arguments, answer = message
            answer.put(function(*arguments))
