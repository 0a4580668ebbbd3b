"""Runs tshark with the dissector over packets, and reads its dissection of each."""

from __future__ import annotations

import pathlib
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as xml

from pcapng import Packet, capture

ROOT = pathlib.Path(__file__).resolve().parents[2]
DISSECTOR = ROOT / "packaging/wireshark/tesk.lua"


class Frame:
    """One packet as tshark dissected it."""

    def __init__(self, packet: xml.Element) -> None:
        self.items = list(packet.iter())

    def _of(self, name: str) -> list[xml.Element]:
        return [item for item in self.items if item.get("name") == name]

    def has(self, name: str) -> bool:
        return bool(self._of(name))

    def show(self, name: str) -> str:
        """The only value of a field."""
        found = self._of(name)
        if len(found) != 1:
            raise AssertionError(f"{name} is there {len(found)} times, among {self.names()}")
        return found[0].get("show", "")

    def number(self, name: str) -> int:
        text = self.show(name)
        return {"True": 1, "False": 0}[text] if text in ("True", "False") else int(text, 0)

    def place(self, name: str) -> tuple[int, int]:
        """Position and size of a field's bytes."""
        (found,) = self._of(name)
        return int(found.get("pos", "-1")), int(found.get("size", "-1"))

    def line(self, name: str) -> str:
        """The text of a field in the details pane."""
        (found,) = self._of(name)
        return found.get("showname", "")

    def names(self) -> list[str]:
        return [item.get("name", "") for item in self.items if item.get("name")]

    def protocols(self) -> list[str]:
        """The protocols of the packet, in order; tshark wraps lone items in a protocol of its own."""
        names = [item.get("name", "") for item in self.items if item.tag == "proto"]
        return [name for name in names if name != "fake-field-wrapper"]


class Shark(unittest.TestCase):
    def tshark(self, packets: list[Packet], *arguments: str, env: dict[str, str] | None = None,
               load: bool = True) -> str:
        with tempfile.NamedTemporaryFile(suffix=".pcapng") as file:
            file.write(capture(packets))
            file.flush()
            script = ["-X", f"lua_script:{DISSECTOR}"] if load else []
            done = subprocess.run(["tshark", "-n", *script, "-r", file.name, *arguments], env=env,
                                  capture_output=True, text=True, timeout=60, check=False)
        complaints = [line for line in done.stderr.splitlines() if "Running as user" not in line]
        self.assertEqual((done.returncode, complaints), (0, []))
        self.assertNotIn("Lua Error", done.stdout)
        return done.stdout

    def dissect(self, packets: list[Packet], *arguments: str) -> list[Frame]:
        """The packets as Wireshark shows them once it has read the whole file."""
        said = self.tshark(packets, "-2", "-Y", "frame", "-T", "pdml", *arguments)
        frames = [Frame(packet) for packet in xml.fromstring(said).iter("packet")]
        self.assertEqual(len(frames), len(packets))
        return frames
