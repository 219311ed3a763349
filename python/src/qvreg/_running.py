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

        After an exception, which ends the call, it returns None.
        """

        def called(*arguments: Any) -> Any:
            answer: queue.SimpleQueue = queue.SimpleQueue()
            self._messages.put(lambda: answer.put(self._attempt(function, *arguments)))
            return answer.get()

        return called

    def _attempt(self, function: Callable[..., Any], *arguments: Any) -> Any:
        if self._failure is not None:
            return None
        try:
            return function(*arguments)
        except BaseException as failure:  # raised by `run`, on this thread
            self._failure = failure
            return None

    def run(self, component: lib.Handle, function: str, *arguments: Any) -> lib.Error:
        """Calls ``qvreg_<function>`` with `component` first; returns its error, a warning perhaps.

        Raises what a callback raised, and KeyboardInterrupt after the library has stopped.
        """
        outcome: list = []

        def work() -> None:
            try:
                outcome.append(lib.attempt(function, component, *arguments))
            finally:
                self._messages.put(None)

        worker = threading.Thread(target=work, name="qvreg", daemon=True)
        worker.start()
        cancelled = False
        while True:
            try:
                message = self._messages.get(timeout=_WAIT_SECONDS)
                if message is None:
                    break
                message()
            except queue.Empty:
                pass
            except BaseException as interrupt:
                self._failure = interrupt
            if self._failure is not None and not cancelled:
                lib.call("component_cancel", component)
                cancelled = True
        worker.join()
        if self._failure is not None:
            raise self._failure
        code, error = outcome[0]
        if code != lib.OK:
            raise lib.failure(code, error)
        return error
