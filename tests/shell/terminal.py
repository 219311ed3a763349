"""A shell on a terminal, as somebody types at it."""
import os
import pty
import re
import select
import time

ESCAPES = re.compile(r"\x1b\[[0-9;?]*[A-Za-z]|\x1b\([A-Z0-9]|\x1b[=>]|[\x07\x0e\x0f]")


class Terminal:
    """Runs a program on a terminal of its own. `type` sends keys; `read_until` answers what was printed
    up to and with a text, `read_all` what was printed when each of some words was there."""

    SECONDS = 20

    def __init__(self, words, folder, environment):
        self._process, self._file = pty.fork()
        if self._process == 0:
            os.chdir(folder)
            os.execvpe(words[0], words, environment)
        self._printed = ""

    def close(self):
        os.close(self._file)
        os.waitpid(self._process, 0)

    def type(self, keys):
        os.write(self._file, keys.encode())

    def read_until(self, text):
        self._wait(lambda: [] if text in self._printed else [text])
        before, self._printed = self._printed.split(text, 1)
        return before + text

    def read_all(self, words):
        self._wait(lambda: sorted(set(words) - set(self._printed.split())))
        return self._printed

    def _wait(self, lacking):
        end = time.monotonic() + self.SECONDS
        while lacking():
            left = end - time.monotonic()
            if left <= 0 or not select.select([self._file], [], [], left)[0]:
                raise AssertionError(f"no {lacking()} in {self._printed!r}")
            try:
                part = os.read(self._file, 65536).decode(errors="replace")
            except OSError:
                raise AssertionError(f"ended without {lacking()}: {self._printed!r}") from None
            self._printed = ESCAPES.sub("", self._printed + part)
