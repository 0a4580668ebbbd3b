"""The rooms of the tree, as scripts/rooms.json lists them, and the includes between them.

A C++ file belongs to the room with the longest folder name that contains it. A room may include only itself and the
rooms that its entry names.
"""

from __future__ import annotations

import dataclasses
import functools
import json
import pathlib
import re
from collections.abc import Iterator

TABLE = "scripts/rooms.json"
PROJECT = ("tesk", "host", "opal", "tests", "bench", "fuzz")
NO_SOURCES = ("build", "out")

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(["<])([^">]+)[">]', re.M)


@dataclasses.dataclass(frozen=True)
class Room:
    """A folder with a purpose; `long` gives the reason for each file that may be long."""

    name: str
    purpose: str
    includes: tuple[str, ...] = ()
    long: dict[str, str] = dataclasses.field(default_factory=dict)


@dataclasses.dataclass(frozen=True)
class Include:
    """One line that includes `name`, written in quotes or in angle brackets."""

    file: str
    line: int
    quoted: bool
    name: str

    @property
    def place(self) -> str:
        return f"{self.file}:{self.line}"

    @property
    def is_project(self) -> bool:
        return self.name.split("/")[0] in PROJECT

    @property
    def path(self) -> str:
        """The included file, from the root of the tree."""
        return f"include/{self.name}" if self.name.startswith("opal/") else self.name


def table(text: str) -> dict[str, Room]:
    """@raise ValueError: the text is not a valid table; the message says where"""
    try:
        entries = json.loads(text)
    except json.JSONDecodeError as mistake:
        raise ValueError(f"{TABLE}:{mistake.lineno}: {mistake.msg}") from mistake
    rooms = {}
    for name, entry in entries.items():
        unknown = set(entry) - {"for", "includes", "long"}
        if unknown or not entry.get("for"):
            raise ValueError(f"{TABLE}: room {name}: has to have 'for', may have 'includes' and 'long', nothing else")
        rooms[name] = Room(name, entry["for"], tuple(entry.get("includes", ())), entry.get("long", {}))
    return rooms


def includes_of(file: str, text: str) -> Iterator[Include]:
    for match in INCLUDE.finditer(text):
        yield Include(file, text.count("\n", 0, match.start()) + 1, match.group(1) == '"', match.group(2))


class Tree:
    """A checkout: its rooms, and its C++ sources with their texts."""

    def __init__(self, root: pathlib.Path):
        self.root = root
        self.rooms = table((root / TABLE).read_text(encoding="utf-8"))

    @functools.cached_property
    def sources(self) -> dict[str, str]:
        """The text of each C++ file, by its path from the root."""
        found = {}
        for path in sorted(self.root.rglob("*")):
            name = path.relative_to(self.root)
            if path.suffix in (".h", ".c", ".cpp") and name.parts[0] not in NO_SOURCES:
                found[name.as_posix()] = path.read_text(encoding="utf-8")
        return found

    @functools.cached_property
    def includes(self) -> list[Include]:
        return [one for file, text in self.sources.items() for one in includes_of(file, text)]

    def room_of(self, file: str) -> Room | None:
        for folder in pathlib.PurePosixPath(file).parents:
            if str(folder) in self.rooms:
                return self.rooms[str(folder)]
        return None

    @functools.cached_property
    def arrows(self) -> dict[tuple[str, str], Include]:
        """Which room includes which other room, each with the first line that does so."""
        found: dict[tuple[str, str], Include] = {}
        for include in self.includes:
            here, there = self.room_of(include.file), self.room_of(include.path) if include.is_project else None
            if here and there and here != there:
                found.setdefault((here.name, there.name), include)
        return found
