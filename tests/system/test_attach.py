"""A port attached to an interface of the machine carries tagged frames both ways, and gives the interface back.

The machine is a network namespace of the test's own, with one pair of virtual Ethernet devices."""

import os
import pathlib
import socket
import subprocess
import sys
import unittest

from case import BIN, ROOT, description
import lab

IN_NAMESPACE = "TESK_SYSTEM_TEST_NAMESPACE"
DESCRIPTION = """
name: attached
board: 82
ports:
  - {port: 5, attach: v1, vlans: [4095, 100]}
"""
TAGGED = bytes.fromhex("ffffffffffff 020000000099 81000064 88b5".replace(" ", "")).ljust(100, b".")


class Attach(unittest.TestCase):
    def test_frames_pass_both_ways_and_the_interface_comes_back(self):
        if os.environ.get(IN_NAMESPACE):
            return self.in_namespace()
        done = subprocess.run(["unshare", "-n", sys.executable, "-B", "-m", "unittest", self.id()], capture_output=True,
                              text=True, timeout=60, cwd=pathlib.Path(__file__).parent,
                              env=os.environ | {IN_NAMESPACE: "1"})
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def in_namespace(self) -> None:
        for words in ("add v0 type veth peer name v1", "set v0 up", "set v1 up"):
            lab.run("ip", "link", *words.split())
        file = description(DESCRIPTION)
        self.addCleanup(os.unlink, file)
        script = (f"cush -c 'vlan 100 cin' && chassis exec amm {sys.executable} -B {lab.PROBE} vlan100 {lab.BROADCAST} 150"
                  " && exec chassis exec amm tcpdump -i vlan100 -nn -e -l --immediate-mode -c 1 ether proto 0x88b5 2>&1")
        with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.ntohs(3)) as wire:
            wire.bind(("v0", 0))
            wire.settimeout(lab.BOUND)
            # The kernel removes the tag before it passes a frame to a socket; the auxiliary data carry it.
            wire.setsockopt(263, 8, 1)  # SOL_PACKET, PACKET_AUXDATA of <linux/if_packet.h>
            running = subprocess.Popen(
                [str(BIN / "chassis"), "run", file, "--", "sh", "-c", script], stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE, text=True, env=os.environ | {"CHASSIS_RUN_DIR": str(ROOT / "build/system")})
            with running.stdout:
                self.assertEqual(self.vlan_of_probe(wire), 100)
                seen = ""
                for line in running.stdout:
                    seen += line
                    if "listening on" in line:
                        wire.send(TAGGED)
            self.assertEqual(running.wait(timeout=30), 0)
            self.assertIn("02:00:00:00:00:99 > ff:ff:ff:ff:ff:ff, ethertype Unknown (0x88b5)", seen)
        self.assertIn("v1@v0", lab.run("ip", "-o", "link", "show", "dev", "v1").stdout)

    def vlan_of_probe(self, wire: socket.socket) -> int:
        while True:
            frame, auxiliary, _, _ = wire.recvmsg(2048, 256)
            if frame[12:14] == b"\x88\xb5":
                return int.from_bytes(auxiliary[0][2][16:18], sys.byteorder) & 0xFFF
            if frame[12:14] == b"\x81\x00" and frame[16:18] == b"\x88\xb5":
                return int.from_bytes(frame[14:16], "big") & 0xFFF


if __name__ == "__main__":
    unittest.main()
