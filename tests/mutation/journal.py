"""What has been tried, written line by line, so that an interrupted run continues where it stopped.

The first line is the fingerprint of the sources and tests to which the results belong. Results of other sources are not
reused, except on request those of mutants that did not survive: an added test catches no fewer.
"""

from __future__ import annotations

import json
import pathlib
import threading

from trial import SURVIVED


class Journal:
    def __init__(self, path: pathlib.Path, fingerprint: str, keep: bool = False):
        self.path = path
        self.results: dict[str, dict] = {}
        self.known: set[str] = set()  # all mutations that the last run tried
        self.writing = threading.Lock()
        lines = self.read()
        if lines and (keep or lines[0] == {"fingerprint": fingerprint}):
            self.results = {line["key"]: line for line in lines[1:]}
        self.known = set(self.results)
        if keep:
            self.results = {key: line for key, line in self.results.items() if line["outcome"] != SURVIVED}
        path.write_text("".join(json.dumps(line) + "\n" for line in [{"fingerprint": fingerprint},
                                                                      *self.results.values()]), encoding="utf-8")

    def read(self) -> list[dict]:
        """All complete lines; the last one may be cut."""
        lines = []
        for line in self.path.read_text(encoding="utf-8").splitlines() if self.path.exists() else ():
            try:
                lines.append(json.loads(line))
            except json.JSONDecodeError:
                break
        return lines

    def add(self, result: dict) -> None:
        with self.writing, self.path.open("a", encoding="utf-8") as file:
            file.write(json.dumps(result) + "\n")
            self.results[result["key"]] = result
