"""Mutations that no test can catch, each with its reason.

They stand in a TOML file, one table for each, known by file and text and so indifferent to moved lines:

    [[equivalent]]
    file = "tesk/tesk_x.cpp"
    original = 'free(entry);'
    changed = ';'
    because = "one line that says why no observer can tell"

An explanation whose mutation does not exist any more is stale; one whose mutation is caught is wrong.
"""

from __future__ import annotations

import dataclasses
import pathlib
import tomllib
from collections.abc import Iterable

from mutation import Mutation

FIELDS = {"file", "original", "changed", "because"}


class Malformed(Exception):
    """The file of explanations does not say what it has to."""


@dataclasses.dataclass(frozen=True)
class Explanation:
    file: str
    original: str
    changed: str
    because: str

    @property
    def text(self) -> tuple[str, str, str]:
        return self.file, self.original, self.changed


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


def reasons(explanations: Iterable[Explanation]) -> dict[tuple[str, str, str], str]:
    return {one.text: one.because for one in explanations}


def stale(explanations: Iterable[Explanation], candidates: Iterable[Mutation]) -> list[Explanation]:
    present = {mutation.text for mutation in candidates}
    return [one for one in explanations if one.text not in present]
