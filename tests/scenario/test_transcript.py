"""The daemon does the same on the PC and on the target: the two transcripts of one story do not differ.

Environment: TRANSCRIPT_PC and TRANSCRIPT_TARGET name the files that the program `transcript` wrote on the two.
"""

from __future__ import annotations

import os
import pathlib
import re
import unittest
from collections.abc import Callable

import trace_sites
import transcripts
from transcripts import DIVIDER, PC, TARGET, differences

SOURCES = pathlib.Path(__file__).resolve().parents[2] / "tesk"

# Traces that are not errors but still occur only when something goes wrong.
MISFORTUNES = {
    "No active interfaces\\n": "the management port is always among them",
    "%s:Could not retrieve HW port number for ifindex [0x%x]\\n": "a context always has its number",
    "%s:Wrote %d bytes (Req:%d) for LTL: %05x [%s]:err(%d)\\n": "a device takes no bytes",
    "%s:Wrote %d bytes, Req %d bytes [%s]:err(%d)\\n": "a device takes no bytes",
    "Qbus send error rc = %d [%s]\\n": "the VLAN manager is gone",
    "Bad qbus send to vlan manager for %d vlans. rc = %d [%s]\\n": "the VLAN manager is gone",
    "Error building qbus to %s  feature for %d vlans. rc = %d [%s]\\n": "the library builds nothing",
    "Null qbus pld from vlan manager\\n": "the library has no memory",
}


def read(variable: str) -> str:
    return pathlib.Path(os.environ[variable]).read_text(encoding="utf-8")


class Transcripts(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        cls.pc, cls.target = read("TRANSCRIPT_PC"), read("TRANSCRIPT_TARGET")
        cls.lines = transcripts.parse(cls.pc).behaviour

    def assert_shows(self, part: str) -> None:
        self.assertTrue(any(part in line for line in self.lines), f"the story never came to '{part}'")

    # ---- both machines ----

    def test_both_machines_do_the_same(self) -> None:
        found = differences(self.pc, self.target)
        self.assertEqual(found, [], "\n" + "\n".join(found))

    def test_the_kernel_device_gets_the_machines_own_bytes(self) -> None:
        pc, target = transcripts.parse(self.pc).requests, transcripts.parse(self.target).requests
        self.assertNotEqual(pc, target)
        self.assertTrue(all(target_line.startswith(("0x8", "0x4")) for target_line in target))

    # ---- the story ----

    def test_the_story_reaches_every_handler(self) -> None:
        for row in range(12):
            self.assert_shows(f"found index[{row}]")

    def test_the_story_runs_every_shell_command(self) -> None:
        for command in (1, 2, 3):
            self.assert_shows(f"CMD ID[{command}]")
        self.assert_shows("is_del[0]")
        self.assert_shows("is_del[1]")

    def test_the_story_carries_frames_both_ways(self) -> None:
        for written in ("write(41, 70) 91010200400000000000", "write(42, 60) 0200000000aa"):
            self.assert_shows(written)

    def test_the_story_has_the_timer_and_a_save(self) -> None:
        self.assert_shows("overseer_heartbeat(0)")
        self.assert_shows("Snapshot running config to startup config KVS done")

    def test_the_story_sends_every_request_to_the_kernel_device(self) -> None:
        sent = {transcripts.meaning(PC, line).partition(" ")[0] for line in transcripts.parse(self.pc).requests}
        self.assertEqual(sent, set(transcripts.RECORDS))

    def test_the_story_comes_by_every_trace_of_normal_life(self) -> None:
        lines = [line for line in dict.fromkeys(self.lines) if line.startswith(("packet", "control"))]
        missing = [site for site in trace_sites.sites(SOURCES) if site.category != "error"
                   and site.format not in MISFORTUNES and not site.is_in(lines)]
        self.assertEqual(missing, [])

    def test_the_story_comes_by_half_of_the_errors(self) -> None:
        lines = [line for line in dict.fromkeys(self.lines) if line.startswith("error")]
        errors = [site for site in trace_sites.sites(SOURCES) if site.category == "error"]
        missing = [site for site in errors if not site.is_in(lines)]
        self.assertLess(len(missing), len(errors) / 2, missing)

    # ---- the comparison ----

    def assert_found(self, target: str) -> None:
        self.assertNotEqual(self.target, target, "nothing was changed")
        self.assertTrue(differences(self.pc, target), "the difference was not found")

    def test_another_word_in_a_trace_is_found(self) -> None:
        self.assert_found(self.target.replace("CMD ID[2]", "CMD ID[3]"))

    def test_a_missing_line_is_found(self) -> None:
        self.assert_found(self.target.replace("cmd_rsp_send()\n", "", 1))

    def test_another_byte_in_a_frame_is_found(self) -> None:
        self.assert_found(self.target.replace("write(41, 70) 91", "write(41, 70) 93"))

    def test_another_byte_in_a_store_is_found(self) -> None:
        self.assert_found(self.target.replace("  0000000000000064 = ", "  0000000064000000 = "))

    def with_request(self, change: Callable[[str], str]) -> str:
        behaviour, _, requests = self.target.partition(DIVIDER + "\n")
        return behaviour + DIVIDER + "\n" + change(requests)

    def test_a_record_in_the_other_byte_order_is_found(self) -> None:
        self.assert_found(self.with_request(lambda text: re.sub("(?<=0x80027301 )(..)(..)", r"\2\1", text)))

    def test_a_record_behind_the_other_machines_number_is_found(self) -> None:
        number = f"0x{transcripts.number_of(PC, 'del_vlan'):x}"
        self.assert_found(self.with_request(lambda text: text.replace("0x80027301", number)))

    def test_a_missing_request_is_found(self) -> None:
        self.assert_found(self.with_request(lambda text: text.split("\n", 1)[1]))

    def test_bytes_beside_the_fields_are_found(self) -> None:
        self.assert_found(self.with_request(lambda text: text.replace(" 00010000", " 00010001", 1)))

    def test_a_file_that_ended_early_is_refused(self) -> None:
        with self.assertRaisesRegex(ValueError, "kernel device"):
            transcripts.parse(self.pc.partition(DIVIDER)[0])

    def test_request_numbers_are_the_encodings_own(self) -> None:
        numbers = [f"{transcripts.number_of(machine, name):08x}" for machine in (PC, TARGET)
                   for name in transcripts.RECORDS]
        self.assertEqual(numbers, ["407c7300", "40027301", "45987302", "40047303", "80147304",
                                   "807c7300", "80027301", "85987302", "80047303", "40147304"])


if __name__ == "__main__":
    unittest.main()
