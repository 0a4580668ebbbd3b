"""Trace sites: the places in the daemon's sources that trace, and which of them a transcript shows."""

from __future__ import annotations

import pathlib
import re
from collections.abc import Iterator
from typing import NamedTuple

CALL = re.compile(r'TESK_(PKT|CTRL|ERR)(_AT)?\(\s*((?:place,\s*)?)((?:"(?:[^"\\]|\\.)*"\s*)+)')
BARE = re.compile(r'TESK_TRACE_BARE\(TESK_TRACE_(PKT|CTRL|ERR),\s*((?:"(?:[^"\\]|\\.)*"\s*)+)')
CONVERSION = re.compile(r"%[#0-9.]*[a-z]")
CATEGORY = {"PKT": "packet", "CTRL": "control", "ERR": "error"}


class Site(NamedTuple):
    file: str
    category: str
    format: str

    def is_in(self, lines: list[str]) -> bool:
        """Whether a line of this category has this text. The transcript escapes line ends as the sources do."""
        text = ".*".join(re.escape(part) for part in CONVERSION.split(self.format))
        line = re.compile(rf"{self.category}[^:]*: {text}")
        return any(line.fullmatch(candidate) for candidate in lines)


def sites_of(source: pathlib.Path) -> Iterator[Site]:
    text = source.read_text(encoding="utf-8")
    for match in list(CALL.finditer(text)) + list(BARE.finditer(text)):
        parts = re.findall(r'"((?:[^"\\]|\\.)*)"', match.groups()[-1])
        yield Site(source.name, CATEGORY[match.group(1)], "".join(parts))


def sites(folder: pathlib.Path) -> list[Site]:
    return sorted({site for source in folder.glob("*.cpp") for site in sites_of(source)})
