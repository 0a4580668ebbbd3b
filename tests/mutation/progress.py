"""The progress of a run: on a terminal one line that is overwritten, in a log a line now and then."""

from __future__ import annotations

import sys
import time

from trial import CAUGHT, SURVIVED

EVERY = 50


class Progress:
    def __init__(self, total: int):
        self.total = total
        self.done = self.caught = self.survived = 0
        self.started = time.monotonic()

    def add(self, result: dict) -> None:
        self.done += 1
        self.caught += result["outcome"] == CAUGHT
        self.survived += result["outcome"] == SURVIVED
        left = (time.monotonic() - self.started) / self.done * (self.total - self.done)
        line = f"[{self.done}/{self.total}] caught {self.caught}, survived {self.survived}; {left / 60:.1f} minutes left"
        if sys.stderr.isatty():
            print(f"\r\033[K{line}", end="" if self.done < self.total else "\n", file=sys.stderr, flush=True)
        elif self.done % EVERY == 0 or self.done == self.total:
            print(line, file=sys.stderr, flush=True)
