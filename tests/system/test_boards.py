"""The other board, and port-channels."""

import unittest

from case import in_chassis
import lab
import steps


class Board83(unittest.TestCase):
    @in_chassis("board83.yaml")
    def test_downlinks_carry_and_uplinks_get_no_context(self):
        state = lab.status()
        self.assertEqual(state["chassis"]["board"], 83)
        for blade in ("blade1", "blade5", "blade14"):
            steps.pings("amm", "sol0", blade, count=2)
        steps.pings("amm", "sol0", "uplink1", expect_all=False, count=1)
        mirrored = {port["name"] for port in state["mirror"]["ports"]}
        self.assertEqual(mirrored, {"mgmt1", "ethernet 1/1", "ethernet 1/5", "ethernet 1/14"})
        self.assertIn("Uplink Port", lab.trace())

    @in_chassis("board83.yaml")
    def test_show_counters_has_fourteen_ports_and_the_management_port(self):
        rows = [line.split("  ")[0] for line in lab.cush("show counters").splitlines()[1:]]
        self.assertEqual(rows, ["mgmt1"] + [f"ethernet 1/{port}" for port in range(1, 15)])

    @in_chassis("board83.yaml")
    def test_a_cin_vlan_leaves_the_uplink_out(self):
        lab.cush("vlan 100 cin")
        steps.pings("amm", "vlan100", "blade14", count=2)
        entry = next(vlan for vlan in lab.status()["mirror"]["vlans"] if vlan["vlan"] == 100)
        self.assertEqual(entry["asic_ports"], [0, 7, 19])


class PortChannel(unittest.TestCase):
    @in_chassis("port-channel.yaml")
    def test_the_channel_carries_through_its_first_operational_port(self):
        lab.cush("vlan 100 cin")
        self.assertIn("port-channel 7", {port["name"] for port in lab.status()["mirror"]["ports"]})
        steps.pings("amm", "vlan100", "blade3", count=2)

    @in_chassis("port-channel.yaml")
    def test_frames_of_every_member_are_taken_and_answered_through_the_first(self):
        with lab.Capture("blade3", "vlan and arp") as wire:
            steps.pings("blade4", "sol0", "amm", expect_all=False, count=1)
            wire.until(r"Reply 10\.255\.255\.1 is-at")

    @in_chassis("port-channel.yaml")
    def test_it_moves_to_the_next_member_and_goes_with_the_last(self):
        lab.cush("vlan 100 cin")
        lab.event("link", "down", "blade3")
        entry = next(port for port in lab.status()["mirror"]["ports"] if port["name"] == "port-channel 7")
        self.assertEqual(entry["asic_port"], 3)
        steps.pings("amm", "vlan100", "blade4", count=2)
        lab.event("link", "down", "blade4")
        self.assertNotIn("port-channel 7", {port["name"] for port in lab.status()["mirror"]["ports"]})
        lab.event("link", "up", "blade3")
        steps.pings("amm", "vlan100", "blade3", count=2)

    @in_chassis("port-channel.yaml")
    def test_a_vlan_with_an_excluding_feature_is_refused(self):
        done = lab.run("cush", "-c", "vlan 300 cin", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("Failed to configure as CIN VLAN(s)", done.stderr)


if __name__ == "__main__":
    unittest.main()
