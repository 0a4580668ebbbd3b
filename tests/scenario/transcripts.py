"""Compare what the daemon did in one story on two machines.

usage: transcripts.py PC TARGET

The daemon's behaviour must be equal line by line. Requests to the kernel module must be equal in meaning: the
same records, each in its machine's byte order and with the request number in its machine's encoding.
Exit status: 0 when they are equal, 1 with a diff otherwise, 2 for a file that is no transcript.
"""

from __future__ import annotations

import difflib
import functools
import pathlib
import struct
import sys
from typing import NamedTuple

DIVIDER = "==== kernel device"

PORT = "IBBH" + "HBx" * 15
RECORDS = {
    "add_or_update_vlans": (0, "H2x" + "H2xI" * 15),
    "del_vlan": (1, "H"),
    "add_or_update_ports": (2, "H2x" + PORT * 21),
    "del_port": (3, "I"),
    "get_port_counters": (4, "5I"),
}


class Machine(NamedTuple):
    """How a machine encodes a request: the byte order, and the direction bits of the request number."""
    name: str
    order: str
    write: int
    read: int


PC = Machine("PC", "<", 1 << 30, 2 << 30)
TARGET = Machine("target", ">", 4 << 29, 2 << 29)


class Transcript(NamedTuple):
    behaviour: list[str]
    requests: list[str]


def parse(text: str) -> Transcript:
    behaviour, divider, requests = text.partition(DIVIDER + "\n")
    if not divider:
        raise ValueError(f"a transcript has a line '{DIVIDER}'; this one ended before it")
    return Transcript(behaviour.splitlines(), requests.splitlines())


def number_of(machine: Machine, request: str) -> int:
    position, layout = RECORDS[request]
    direction = machine.read if request == "get_port_counters" else machine.write
    return direction | struct.calcsize(machine.order + layout) << 16 | ord("s") << 8 | position


@functools.cache
def meaning(machine: Machine, line: str) -> str:
    """A request line as name and values; a line with an unknown request stays as it is."""
    number, _, record = line.partition(" ")
    for request, (_, layout) in RECORDS.items():
        if int(number, 16) == number_of(machine, request):
            content = bytes.fromhex(record)
            if len(content) == struct.calcsize(machine.order + layout):
                return f"{request} {struct.unpack(machine.order + layout, content)}"
    return f"{line} (not a request of the {machine.name})"


@functools.cache
def padding_is_clear(machine: Machine, line: str) -> bool:
    """Whether the bytes between the fields are zero: packing the values again then gives the same record."""
    name, _, values = meaning(machine, line).partition(" ")
    if name not in RECORDS:
        return False
    numbers = [int(word) for word in values.strip("(),").replace(",", " ").split()]
    return struct.pack(machine.order + RECORDS[name][1], *numbers).hex() == line.partition(" ")[2]


def diff(pc: list[str], target: list[str], part: str, context: int) -> list[str]:
    """A diff from the first line that differs; what is before it is long, and equal."""
    first = next((place for place, (one, other) in enumerate(zip(pc, target)) if one != other),
                 min(len(pc), len(target)))
    start = max(first - context, 0)
    window = slice(start, start + 2000)
    return list(difflib.unified_diff(pc[window], target[window], f"{PC.name}{part} from line {start + 1}",
                                     f"{TARGET.name}{part}", lineterm="", n=context))


def differences(pc_text: str, target_text: str) -> list[str]:
    """A unified diff of the behaviour and of the meaning of the requests; empty if both machines did the same."""
    pc, target = parse(pc_text), parse(target_text)
    found = diff(pc.behaviour, target.behaviour, "", 2)
    sent = {machine: [meaning(machine, line) for line in transcript.requests]
            for machine, transcript in ((PC, pc), (TARGET, target))}
    found += diff(sent[PC], sent[TARGET], " kernel device", 0)
    for machine, transcript in ((PC, pc), (TARGET, target)):
        found += [f"{machine.name}: {meaning(machine, line)[:60]}… has bytes beside its fields, or is unknown"
                  for line in transcript.requests if not padding_is_clear(machine, line)]
    return found


def main() -> int:
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        found = differences(*(pathlib.Path(name).read_text(encoding="utf-8") for name in sys.argv[1:]))
    except (OSError, ValueError) as problem:
        print(f"transcripts.py: {problem}", file=sys.stderr)
        return 2
    print("\n".join(found) if found else "both machines did the same")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
