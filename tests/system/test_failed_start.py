"""A service fails while the daemon starts: either the daemon ends with its own message and exit status and the
chassis reports that, or the daemon continues and serves."""

import unittest

from case import chassis

ENDS = {
    "board=refuse": ("exited with status 0;", "get_card_module_info error"),
    "board=silent": ("exited with status 0;", "get_card_module_info error"),
    "qbus-subscribe=refuse": ("exited with status 0;", "Could not register 0"),
    "cush-register=refuse": ("exited with status 0;", "Failed to register CLI"),
    "cush-backend=refuse": ("exited with status 10;", "Failed to init cmd_backend_init()"),
    "portsvc-register=refuse": ("exited with status 1;", "portsvc_ext_sbcr_init Failed"),
    "portsvc-register=silent": ("exited with status 1;", "portsvc_ext_sbcr_init Failed"),
}
GOES_ON = {
    "condition=refuse": "overseer_handshake cond status Err",
    "start-status=refuse": "Srv_start_status() returned error code",
    "store-locations=refuse": "overseer_startup_cfg_uri_get failed",
    "kinb-init=refuse": "QBUS_OPC_LC_ONLINE",
    "capreg=refuse": "QBUS_OPC_LC_ONLINE",
    "rcgen-register=refuse": "QBUS_OPC_LC_ONLINE",
    "ltlsvc-di=refuse": "instance creation failed",
}


class FailedStart(unittest.TestCase):
    def run_with(self, fault: str, *command: str):
        return chassis("run", "--name", "failed-start", "--fault", fault, "--", *command)


def ends(fault: str, status: str, words: str):
    def test(self: FailedStart) -> None:
        done = self.run_with(fault, "true")
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertIn(status, done.stderr)
        self.assertIn(words, done.stderr)
    return test


def goes_on(fault: str, words: str):
    def test(self: FailedStart) -> None:
        done = self.run_with(fault, "chassis", "trace")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn(words, done.stdout)
    return test


for fault, (status, words) in ENDS.items():
    setattr(FailedStart, f"test_the_daemon_ends_with_{fault.replace('-', '_').replace('=', '_')}", ends(fault, status, words))
for fault, words in GOES_ON.items():
    setattr(FailedStart, f"test_the_daemon_goes_on_with_{fault.replace('-', '_').replace('=', '_')}", goes_on(fault, words))
del fault, status, words


if __name__ == "__main__":
    unittest.main()
