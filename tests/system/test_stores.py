"""The start-up configuration, intact and broken."""

import os
import pathlib
import signal
import unittest

from case import in_chassis
import lab


def startup_store() -> pathlib.Path:
    return pathlib.Path(os.environ["OPAL_RUN_DIR"]) / "stores" / "startup" / "tesk_startup_cfg"


def kill_and_wait() -> None:
    before = lab.status()["daemon"]
    os.kill(before["pid"], signal.SIGKILL)
    lab.restarted(before["starts"] + 1)


class Stores(unittest.TestCase):
    @in_chassis()
    def test_what_was_not_saved_is_gone_after_a_restart(self):
        lab.cush("vlan 100 cin")
        lab.cush("copy running-config startup-config")
        lab.cush("vlan 101 cin")
        kill_and_wait()
        self.assertEqual(lab.cush("show running-config").split(), ["vlan", "100", "cin"])

    @in_chassis()
    def test_the_startup_configuration_is_shown_as_saved(self):
        lab.cush("vlan 100 cin")
        lab.cush("copy running-config startup-config")
        lab.cush("no vlan 100 cin")
        self.assertEqual(lab.cush("show running-config").split(), [])
        self.assertEqual(lab.cush("show startup-config").split(), ["vlan", "100", "cin"])

    @in_chassis()
    def test_a_store_that_is_no_store_is_passed_over_and_replaced_by_the_next_save(self):
        startup_store().write_bytes(b"this is no store" * 100)
        kill_and_wait()
        self.assertIn("Failed to open startup config KVS", lab.trace())
        self.assertEqual(lab.cush("show running-config").split(), [])
        done = lab.run("cush", "-c", "show startup-config", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("Failed to read Startup cfg for Tesk", done.stderr)
        lab.cush("vlan 100 cin")
        lab.cush("copy running-config startup-config")
        self.assertEqual(lab.cush("show startup-config").split(), ["vlan", "100", "cin"])

    @in_chassis()
    def test_defaults_are_shown_on_request(self):
        lab.cush("vlan 100 cin")
        self.assertEqual(lab.cush("show running-config all vlan 99-100").split(),
                         ["vlan", "99", "no", "cin", "vlan", "100", "cin"])


class DeadServices(unittest.TestCase):
    @in_chassis()
    def test_a_silent_service_costs_a_bounded_time(self):
        lab.event("fault", "kinb-add", "silent")
        done = lab.run("cush", "-c", "vlan 100 cin", check=False, timeout=5)
        self.assertEqual(done.returncode, 1)
        self.assertIn("Failed to configure as CIN VLAN(s)", done.stderr)
        lab.event("fault", "kinb-add", "normal")
        lab.cush("vlan 101 cin")

    @in_chassis()
    def test_a_missing_ltl_answer_leaves_the_request_open_and_the_vlan_serving(self):
        lab.event("fault", "ltl-answer", "silent")
        lab.cush("vlan 100 cin")
        self.assertEqual(lab.ping("amm", "vlan100", lab.address("blade1", "vlan100"), count=1).received, 1)
        self.assertNotIn("Received Alloc response for VLAN 100", lab.trace())


if __name__ == "__main__":
    unittest.main()
