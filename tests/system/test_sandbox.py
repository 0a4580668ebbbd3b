"""What a command finds in the sandbox."""

import os
import tempfile
import unittest

from case import chassis


class Sandbox(unittest.TestCase):
    def test_a_script_in_the_machines_temporary_folder_can_be_run(self):
        with tempfile.NamedTemporaryFile("w", suffix=".sh", dir="/tmp") as script:
            script.write("echo found\n")
            script.flush()
            done = chassis("run", "--name", "sandbox", "--", "sh", script.name)
        self.assertEqual((done.returncode, done.stdout), (0, "found\n"), done.stderr)

    def test_the_machines_own_folders_are_read_only(self):
        done = chassis("run", "--name", "sandbox", "--", "sh", "-c", "touch /etc/tesk-was-here", cwd="/tmp")
        self.assertNotEqual(done.returncode, 0)
        self.assertFalse(os.path.exists("/etc/tesk-was-here"))


if __name__ == "__main__":
    unittest.main()
