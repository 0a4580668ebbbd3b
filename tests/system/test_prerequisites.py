"""Without a prerequisite on the machine, a program prints one sentence that says what is missing, and exits with 1."""

import subprocess
import unittest

from case import BIN, ROOT


class Prerequisites(unittest.TestCase):
    def refused_in(self, *sandbox: str) -> str:
        done = subprocess.run(
            ["bwrap", "--bind", "/", "/", *sandbox, "--setenv", "CHASSIS_RUN_DIR", str(ROOT / "build/system"),
             str(BIN / "chassis"), "run", "--name", "prerequisites", "--", "true"],
            capture_output=True, text=True, timeout=30, stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertEqual(len(done.stderr.strip().splitlines()), 1, done.stderr)
        return done.stderr

    def test_without_the_tun_device(self):
        self.assertIn("/dev/net/tun", self.refused_in("--dev", "/dev"))

    def test_without_the_fuse_device(self):
        self.assertIn("/dev/fuse", self.refused_in("--dev", "/dev", "--dev-bind", "/dev/net/tun", "/dev/net/tun"))

    def test_where_user_namespaces_are_forbidden(self):
        self.assertIn("user namespaces", self.refused_in(
            "--unshare-user", "--disable-userns", "--dev", "/dev", "--dev-bind", "/dev/net/tun", "/dev/net/tun",
            "--dev-bind", "/dev/fuse", "/dev/fuse"))


if __name__ == "__main__":
    unittest.main()
