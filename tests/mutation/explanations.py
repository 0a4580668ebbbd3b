"""Mutations that no test can catch, each with its reason.

A TOML file lists them, with one table for each. File and text identify a mutation, so lines may move:

    [[equivalent]]
    file = "tesk/tesk_x.cpp"
    original = 'int done = 0;'
    changed = 'int done = 1;'
    because = "one line that says why no observer can tell"

`changed = "*"` stands for every change of that line. An explanation is stale if its line or change no longer exists, or
if all of its mutations are caught.
"""

from __future__ import annotations

import dataclasses
import pathlib
import tomllib
from collections.abc import Iterable

from mutation import Mutation

ANY = "*"
FIELDS = {"file", "original", "changed", "because"}


class Malformed(Exception):
    """The file of explanations lacks something that it must contain."""


@dataclasses.dataclass(frozen=True)
class Explanation:
    file: str
    original: str
    changed: str
    because: str

    @property
    def text(self) -> tuple[str, str, str]:
        return self.file, self.original, self.changed

    def covers(self, mutation: Mutation) -> bool:
        return (self.file, self.original) == (mutation.file, mutation.original) and self.changed in (ANY, mutation.changed)


def read(path: pathlib.Path) -> list[Explanation]:
    if not path.exists():
        return []
    try:
        entries = tomllib.loads(path.read_text(encoding="utf-8")).get("equivalent", [])
    except tomllib.TOMLDecodeError as error:
        raise Malformed(f"{path}: {error}") from None
    for number, entry in enumerate(entries, 1):
        if entry.keys() != FIELDS or not all(isinstance(value, str) and "\n" not in value for value in entry.values()):
            raise Malformed(f"{path}: explanation {number} has to have {', '.join(sorted(FIELDS))}, one line each")
    return [Explanation(**entry) for entry in entries]


def of(mutation: Mutation, explanations: Iterable[Explanation]) -> Explanation | None:
    return next((one for one in explanations if one.covers(mutation)), None)


def stale(explanations: Iterable[Explanation], candidates: Iterable[Mutation]) -> list[Explanation]:
    present = {(one.file, one.original, changed) for one in candidates for changed in (one.changed, ANY)}
    return [one for one in explanations if one.text not in present]
