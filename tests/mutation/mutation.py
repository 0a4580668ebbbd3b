"""One mutation: a span of one file and the text that replaces it.

A mutation is identified by its file and by the text of its lines before and after, not by line numbers. So an
explanation or a result still belongs to it when lines above it come and go. If the same lines occur several times in a
file, their order distinguishes them.
"""

from __future__ import annotations

import dataclasses
import hashlib


@dataclasses.dataclass(frozen=True)
class Mutation:
    file: str
    kind: str
    start: int
    end: int
    replacement: str
    line: int
    original: str  # the lines that it changes, with runs of blanks folded
    changed: str  # the same lines after the change
    occurrence: int = 0

    @property
    def text(self) -> tuple[str, str, str]:
        return self.file, self.original, self.changed

    @property
    def key(self) -> str:
        return hashlib.sha256("\0".join((*self.text, str(self.occurrence))).encode()).hexdigest()[:16]

    def applied(self, source: str) -> str:
        """The file with this mutation; its lines keep their numbers."""
        lost = source.count("\n", self.start, self.end) - self.replacement.count("\n")
        return source[: self.start] + self.replacement + "\n" * lost + source[self.end :]


def folded(text: str) -> str:
    return " ".join(text.split())


def make(file: str, kind: str, source: str, start: int, end: int, replacement: str) -> Mutation:
    first = source.rfind("\n", 0, start) + 1
    last = source.find("\n", end)
    last = len(source) if last < 0 else last
    return Mutation(file, kind, start, end, replacement, source.count("\n", 0, start) + 1,
                    folded(source[first:last]), folded(source[first:start] + replacement + source[end:last]))


def numbered(mutations: list[Mutation]) -> list[Mutation]:
    """Numbers the occurrences of each text. If two kinds propose the same change, it is kept once."""
    seen: dict[tuple, list[int]] = {}
    result = []
    for mutation in sorted(mutations, key=lambda one: (one.start, one.end)):
        places = seen.setdefault(mutation.text, [])
        if mutation.start in places:
            continue
        result.append(dataclasses.replace(mutation, occurrence=len(places)))
        places.append(mutation.start)
    return result
