"""Trace sites: the places of the daemon that trace, and which of them no test asserts.

A site is a use of one of the TESK_… macros. The history names its function and its line, but not its file, which follows
from the function. A site of an _AT macro is in a part of an operation: the history names the operation, and the line on
which the operation calls the part. So any site that this call reaches can have traced it; the text decides among them.
"""

from __future__ import annotations

import pathlib
import re
from collections.abc import Iterable
from dataclasses import dataclass

USE = re.compile(r"\bTESK_(?:(?P<kind>PKT|CTRL|ERR)(?P<other>_AT)?|TRACE_BARE)\s*\(")
FUNCTION = re.compile(r"^(?!namespace|static_assert|enum|typedef|struct|using|constexpr|#|/|\s|\})[^;=]*?\b(\w+)\(")
LITERAL = re.compile(r'"(?:[^"\\]|\\.)*"')
PART = re.compile(r"\b(\w+)\([^()]*\btesk_place_t place\b")
CONVERSION = re.compile(r"%[#0-9.]*[a-z]")
CATEGORIES = {"PKT": "packet", "CTRL": "control", "ERR": "error"}


@dataclass(frozen=True)
class Site:
    file: str
    first_line: int
    last_line: int
    category: str
    function: str
    form: str  # "own": traced as its own function; "part": for an operation; "bare": without a function
    text: str

    def __str__(self) -> str:
        return f'{self.file}:{self.first_line} {self.category} "{self.text}"'


    def says(self, text: str) -> bool:
        """Whether its format can produce this text."""
        return re.fullmatch(".*".join(map(re.escape, CONVERSION.split(self.text))), text) is not None


@dataclass(frozen=True)
class Asserted:
    category: str
    function: str
    line: int
    text: str


@dataclass(frozen=True)
class Call:
    """A call of a part of an operation."""
    file: str
    line: int
    function: str
    part: str


def call_length(source: str) -> int:
    """Number of characters of a call up to its closing parenthesis; literals may contain parentheses."""
    depth, position = 0, 0
    while position < len(source):
        literal = LITERAL.match(source, position)
        if literal:
            position = literal.end()
            continue
        depth += {"(": 1, ")": -1}.get(source[position], 0)
        position += 1
        if depth == 0 and source[position - 1] == ")":
            return position
    raise ValueError("a call without an end: " + source[:80])


def function_of_each_line(source: str) -> list[str]:
    """The function of each line; lines are counted from 1."""
    functions = [""]
    for line in source.splitlines():
        match = FUNCTION.match(line)
        functions.append(match.group(1) if match else functions[-1])
    return functions


def sites_of(name: str, source: str) -> list[Site]:
    """The sites of one file."""
    functions = function_of_each_line(source)
    sites = []
    for match in USE.finditer(source):
        if source.rfind("\n#define", 0, match.start() + 1) == source.rfind("\n", 0, match.start() + 1):
            continue
        if source[source.rfind("\n", 0, match.start()) + 1:match.start()].lstrip().startswith(("*", "/*", "//")):
            continue
        call = source[match.start():match.start() + call_length(source[match.start():])]
        line = source.count("\n", 0, match.start()) + 1
        kind = match["kind"] or re.search(r"TESK_TRACE_(\w+),", call)[1]
        text = "".join(literal[1:-1] for literal in LITERAL.findall(call))
        form = "bare" if match["kind"] is None else "part" if match["other"] else "own"
        sites.append(Site(name, line, line + call.count("\n"), CATEGORIES[kind], functions[line], form, text))
    return sites


def calls_of(name: str, source: str) -> list[Call]:
    """The calls of parts of operations in one file."""
    functions = function_of_each_line(source)
    calls = []
    for part in {match.group(1) for match in PART.finditer(source)}:
        definitions = {match.start() for match in PART.finditer(source)}
        for match in re.finditer(rf"\b{part}\(", source):
            if match.start() not in definitions:
                line = source.count("\n", 0, match.start()) + 1
                calls.append(Call(name, line, functions[line], part))
    return calls


def parts_reached(call: Call, calls: Iterable[Call]) -> set[str]:
    """The part that is called, and all parts that it calls in turn."""
    reached, found = set(), {call.part}
    while found:
        reached |= found
        found = {other.part for other in calls if other.file == call.file and other.function in reached} - reached
    return reached


def proved_by(fact: Asserted, sites: Iterable[Site], calls: Iterable[Call]) -> list[Site]:
    """The sites that can have traced what was asserted; several if nothing distinguishes them."""
    parts = {(call.file, part) for call in calls if (call.function, call.line) == (fact.function, fact.line)
             for part in parts_reached(call, calls)}
    found = []
    for site in sites:
        if site.category != fact.category:
            continue
        if site.form == "bare":
            fits = not fact.function and fact.text == site.text
        elif site.form == "own":
            fits = site.function == fact.function and site.first_line <= fact.line <= site.last_line
        else:
            fits = (site.file, site.function) in parts and site.says(fact.text)
        if fits:
            found.append(site)
    return found


def complaints(sources: dict[str, str], facts: Iterable[Asserted]) -> list[str]:
    """One line for each site that is not proved."""
    sites = [site for name, source in sources.items() for site in sites_of(name, source)]
    calls = [call for name, source in sources.items() for call in calls_of(name, source)]
    proved: set[Site] = set()
    unclear = []
    for fact in facts:
        found = proved_by(fact, sites, calls)
        if len(found) > 1:
            unclear.append(f"{fact.function}({fact.line}) {fact.category}: could be " + " or ".join(map(str, found)))
        proved.update(found[:1])
    return unclear + [f"{site}: no test asserts this trace" for site in sites if site not in proved]


def sources_below(top: pathlib.Path) -> dict[str, str]:
    paths = sorted((top / "tesk").glob("*.cpp")) + sorted((top / "tesk").glob("*.h"))
    return {str(path.relative_to(top)): path.read_text(encoding="utf-8") for path in paths}
