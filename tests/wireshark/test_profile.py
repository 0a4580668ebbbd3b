"""After installation as in README.md, Wireshark finds the dissector and the profile, and fills the columns."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from frames import FROM_HOST, PING, TO_HOST, ping
from pcapng import IN, OUT, Packet
from shark import ROOT, Shark

README = ROOT / "packaging/wireshark/README.md"
PACKETS = [
    Packet("inb0", TO_HOST + PING, IN, 0),
    Packet("mgmt0", PING, OUT, 1_500),
    Packet("mgmt0", ping(1), IN, 2_000),
    Packet("inb0", FROM_HOST + ping(1), OUT, 3_000, ("dropped: blocked",)),
    Packet("blade1", ping(2), IN, 4_000),
    Packet("inb0", TO_HOST + ping(3), IN, 5_000),
    Packet("inb0", TO_HOST + PING, IN, 6_000),
    Packet("mgmt0", PING, OUT, 7_000),
]
TITLES = ["No.", "Time", "Point", "Daemon", "ASIC ports", "VLAN", "Source", "Destination", "Protocol", "Length", "Pair",
          "In the daemon", "Dropped", "Info"]


class Profile(Shark):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = {"PATH": os.environ["PATH"], "HOME": home.name, "LANG": "C.UTF-8"}
        (commands,) = re.findall(r"^```sh\n(.*?)^```", README.read_text(encoding="utf-8"), re.M | re.S)
        subprocess.run(["sh", "-euc", commands], cwd=ROOT, env=self.home, check=True)

    def installed(self, *arguments):
        return self.tshark(PACKETS, "-C", "tesk", "-2", "-Y", "frame", *arguments, env=self.home, load=False)

    def test_the_columns(self):
        rows = [[cell.strip() for cell in line.replace("→\t", "").split("\t")]  # tshark adds arrows beside addresses
                for line in self.installed("-T", "tabs").splitlines()]
        addresses = ("100", "10.0.100.11", "10.0.100.1", "ICMP")
        self.assertEqual([row[1:13] for row in rows][:5], [
            ["0.000000000", "inb0", "before", "from 5", *addresses, "70", "2", "", ""],
            ["0.000001500", "mgmt0", "behind", "", *addresses, "60", "1", "0.000001500", ""],
            ["0.000002000", "mgmt0", "before", "", *addresses, "60", "4", "", ""],
            ["0.000003000", "inb0", "behind", "to 5", *addresses, "70", "3", "0.000001000", "blocked"],
            ["0.000004000", "blade1", "", "", *addresses, "60", "", "", ""],
        ])
        self.assertTrue(all(row[13].startswith("Echo (ping) request") for row in rows))

    def test_the_titles(self):
        preferences = pathlib.Path(self.home["HOME"], ".config/wireshark/profiles/tesk/preferences")
        self.assertEqual(re.findall(r'^\t"([^"]+)",', preferences.read_text(encoding="utf-8"), re.M), TITLES)

    def test_dropped_and_lost_frames_are_coloured(self):
        rules = self.installed("--color", "-T", "fields", "-e", "frame.coloring_rule.name").splitlines()
        self.assertEqual([rules[3], rules[5]], ["Dropped", "Not seen behind the daemon"])
        self.assertEqual([rule for number, rule in enumerate(rules) if number not in (3, 5)], [""] * 6)


if __name__ == "__main__":
    unittest.main()
