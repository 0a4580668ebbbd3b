"""Call sites: the places of the daemon that call the platform, and which of them were not seen to succeed and to fail.

The places come from the linked test program; its coverage build keeps every call as a call. A place is a call
instruction in a function of tesk/ whose target is an operation. The stand-in notes the return address at run time. A
call through a pointer does not name its operation: if a file of tesk/ takes the address of an operation, that operation
must be seen at a call through a pointer in the same file.
"""

from __future__ import annotations

import collections
import pathlib
import re
import subprocess
from collections.abc import Iterable, Iterator
from dataclasses import dataclass

FUNCTION = re.compile(r"^[0-9a-f]+ <(\S+)>:$")
INSTRUCTION = re.compile(r"^\s+([0-9a-f]+):\s+(\S+)\s*(.*)$")
TARGET = re.compile(r"<(\w+)>$")
DECLARATION = re.compile(r"^(?!static|typedef|extern \")\w[\w \t*]*?[\s*](\w+)\(", re.M)
SOURCE = re.compile(r"(?:^|/)(tesk/[^/]+):(\d+)")  # the compiler cache may hold the path of another checkout
OUTCOMES = ("succeeded", "failed")


@dataclass(frozen=True)
class Call:
    """One call instruction."""
    address: int
    returns_to: int
    function: str
    operation: str  # "" for a call through a pointer


@dataclass(frozen=True, order=True)
class Site:
    file: str
    line: int
    function: str
    operation: str
    number: int  # position among the calls of the same operation on the same line

    def __str__(self) -> str:
        number = f" ({self.number}. on this line)" if self.number > 1 else ""
        return f"{self.file}:{self.line} {self.function}: {self.operation}{number}"


@dataclass(frozen=True)
class Exemption:
    """An outcome that cannot happen at a site: FILE FUNCTION OPERATION OUTCOME REASON."""
    file: str
    function: str
    operation: str
    outcome: str
    reason: str

    def covers(self, site: Site, outcome: str) -> bool:
        return (self.file, self.function, self.operation, self.outcome) == (
            site.file, site.function, site.operation, outcome)


def operations_of(headers: Iterable[str]) -> set[str]:
    """The operations that the platform's headers declare."""
    return {name for header in headers for name in DECLARATION.findall(header)} - {"overseercb_cfg_write"}


def calls_in(disassembly: Iterable[str], operations: set[str]) -> Iterator[Call]:
    """The calls of operations, and those through pointers. A name that --wrap changed stands for the operation,
    except for the daemon's own functions, which have encoded names."""
    function, pending = "", None
    for line in disassembly:
        header = FUNCTION.match(line)
        instruction = None if header else INSTRUCTION.match(line)
        if pending and (header or instruction):
            next_address = int((header or instruction)[0].split()[0].rstrip(":"), 16)
            yield Call(pending[0], next_address, function, pending[1])
            pending = None
        if header:
            function = header[1]
        elif instruction and instruction[2] == "call":
            target = TARGET.search(instruction[3])
            name = target[1] if target else ""
            operation = name.removeprefix("__wrap_")
            if instruction[3].startswith("*"):
                pending = (int(instruction[1], 16), "")
            elif (operation != name and not operation.startswith("_Z")) or operation in operations:
                pending = (int(instruction[1], 16), operation)


def plain_name(demangled: str) -> str:
    """A function's name without result, namespace, template and function arguments: all instances are one place."""
    name = re.split(r"[(<]", demangled.replace("(anonymous namespace)::", ""))[0]
    return name.split()[-1] if name.split() else demangled


def located(program: pathlib.Path, calls: list[Call]) -> dict[int, Site]:
    """The sites in tesk/, by return address."""
    asked = "\n".join(hex(call.address) for call in calls)
    answer = subprocess.run(["addr2line", "-fC", "-e", str(program)], input=asked, capture_output=True, text=True,
                            check=True).stdout.splitlines()
    sites: dict[int, Site] = {}
    seen: collections.Counter[tuple[str, str, int, str]] = collections.Counter()
    for call, name, place in zip(calls, answer[::2], answer[1::2]):
        source = SOURCE.search(place)
        if not source:
            continue
        file, line = source[1], int(source[2])
        function = plain_name(name)
        key = (call.function, file, line, call.operation)
        seen[key] += 1
        sites[call.returns_to] = Site(file, line, function, call.operation, seen[key])
    return sites


def addresses_taken(objects: list[pathlib.Path], operations: set[str]) -> set[tuple[str, str]]:
    """(file, operation) for each operation whose address a file of the daemon takes."""
    text = subprocess.run(["objdump", "-r", *map(str, objects)], capture_output=True, text=True, check=True).stdout
    taken, file = set(), ""
    for line in text.splitlines():
        object_name = re.match(r"^\S*?(tesk/[^/]+)\.o:\s+file format", line)
        if object_name:
            file = object_name[1]
        relocation = re.search(r"R_X86_64_64\s+(\w+)$", line)
        if relocation and relocation[1] in operations:
            taken.add((file, relocation[1]))
    return taken


def seen_at(sites: dict[int, Site], facts: Iterable[tuple[str, int, str]]) -> dict[Site, set[str]]:
    """What was seen at each site. At a call through a pointer, each operation is a site of its own."""
    seen: dict[Site, set[str]] = {site: set() for site in sites.values() if site.operation}
    for operation, address, outcome in facts:
        site = sites.get(address)
        if site is None:
            continue
        if not site.operation:
            site = Site(site.file, site.line, site.function, operation, site.number)
        seen.setdefault(site, set()).add(outcome)
    return seen


def complaints(seen: dict[Site, set[str]], taken: Iterable[tuple[str, str]],
               exemptions: Iterable[Exemption]) -> list[str]:
    """One line for each outcome that is not proved, and for each exemption that exempts nothing."""
    used = set()
    said = []
    for site, outcomes in sorted(seen.items()):
        if not outcomes:
            said.append(f"{site}: no test calls this")
            continue
        for outcome in OUTCOMES if "called" not in outcomes else ():
            if outcome in outcomes:
                continue
            exemption = next((one for one in exemptions if one.covers(site, outcome)), None)
            if exemption:
                used.add(exemption)
            else:
                said.append(f"{site}: never seen to have {outcome}")
    known = {(site.file, site.operation) for site in seen}
    said += [f"{file}: {operation}: never called through the pointer to it" for file, operation in taken
             if (file, operation) not in known]
    said += [f"tests/coverage/exempt_calls: {one.file} {one.function} {one.operation} {one.outcome}: "
             "not needed; remove the line" for one in exemptions if one not in used]
    return said


def exemptions_in(text: str) -> list[Exemption]:
    rows = [line.split(None, 4) for line in text.splitlines() if line.strip() and not line.startswith("#")]
    for row in rows:
        if len(row) != 5 or row[3] not in OUTCOMES:
            raise SystemExit("tests/coverage/exempt_calls: a line is FILE FUNCTION OPERATION "
                             f"{'|'.join(OUTCOMES)} REASON, not: {' '.join(row)}")
    return [Exemption(*row) for row in rows]


def check(top: pathlib.Path, program: pathlib.Path, objects: list[pathlib.Path],
          facts: Iterable[tuple[str, int, str]], exempt: str) -> tuple[int, list[str]]:
    """@return the number of sites and the complaints"""
    operations = operations_of(path.read_text(encoding="utf-8")
                               for path in (top / "include/opal").glob("*.h"))
    disassembly = subprocess.run(["objdump", "-d", "--no-show-raw-insn", str(program)], capture_output=True, text=True,
                                 check=True).stdout
    sites = located(program, list(calls_in(disassembly.splitlines(), operations)))
    seen = seen_at(sites, facts)
    return len(seen), complaints(seen, addresses_taken(objects, operations), exemptions_in(exempt))
