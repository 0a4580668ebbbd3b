"""Captures as `docs/wireshark.md` describes them, written byte by byte."""

from __future__ import annotations

import struct
from dataclasses import dataclass

ETHERNET, USER0 = 1, 147
IN, OUT = 1, 2
START = 1_700_000_000_123_456_789  # nanoseconds


@dataclass
class Packet:
    """A packet at a point. `at`: nanoseconds after the capture's start; `wire_length`: full length of a cut packet."""

    point: str
    data: bytes
    direction: int | None = None
    at: int = 0
    comments: tuple[str, ...] = ()
    wire_length: int | None = None


def option(code: int, value: bytes) -> bytes:
    return struct.pack("<HH", code, len(value)) + value + bytes(-len(value) % 4)


def options(*each: bytes) -> bytes:
    return b"".join(each) + option(0, b"") if each else b""


def block(kind: int, body: bytes) -> bytes:
    length = struct.pack("<I", len(body) + 12)
    return struct.pack("<I", kind) + length + body + length


def section() -> bytes:
    return block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))


def interface(name: str) -> bytes:
    link_type = USER0 if name.startswith("inb") else ETHERNET
    return block(1, struct.pack("<HHI", link_type, 0, 0) + options(option(2, name.encode()), option(9, b"\x09")))


def enhanced_packet(packet: Packet, interface_number: int) -> bytes:
    time, captured = START + packet.at, len(packet.data)
    head = struct.pack("<5I", interface_number, time >> 32, time & 0xFFFFFFFF, captured, packet.wire_length or captured)
    said = [option(1, comment.encode()) for comment in packet.comments]
    if packet.direction is not None:
        said.append(option(2, struct.pack("<I", packet.direction)))
    return block(6, head + packet.data + bytes(-captured % 4) + options(*said))


def capture(packets: list[Packet]) -> bytes:
    points = list(dict.fromkeys(packet.point for packet in packets))
    return b"".join([section(), *map(interface, points),
                     *(enhanced_packet(packet, points.index(packet.point)) for packet in packets)])
