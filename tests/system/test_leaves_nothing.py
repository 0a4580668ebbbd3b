"""However a chassis ends, nothing of it is left on the machine."""

import os
import pathlib
import re
import signal
import subprocess
import unittest

from case import BIN, ROOT, chassis

RUN = ROOT / "build" / "system"


def machine() -> dict[str, object]:
    """What a chassis could leave behind: processes, mounts, devices, namespaces, run folders."""
    ours = ("chassis", "tesk", "bwrap", "cush")
    processes = []
    for entry in pathlib.Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                name, rest = re.fullmatch(r"\d+ \((.*)\) (.*)\n?", (entry / "stat").read_text()).groups()
                dead = rest.startswith("Z")  # ended, but not yet reaped by the machine's first process
                if name in ours and not dead:
                    processes.append((entry.name, name))
            except OSError:
                pass
    return {
        "processes": sorted(processes),
        "mounts": pathlib.Path("/proc/self/mounts").read_text(),
        "devices": sorted(os.listdir("/sys/class/net")),
        "namespaces": sorted(os.listdir("/run/netns")) if os.path.isdir("/run/netns") else [],
        "device node": os.path.exists("/dev/klm_tesk") or os.path.exists("/opal"),
        "run folders": sorted(entry.name for entry in RUN.iterdir()) if RUN.exists() else [],
    }


class LeavesNothing(unittest.TestCase):
    def setUp(self):
        RUN.mkdir(parents=True, exist_ok=True)
        self.before = machine()

    def tearDown(self):
        self.assertEqual(machine(), self.before)

    def test_after_a_command_that_succeeds(self):
        self.assertEqual(chassis("run", "--name", "leaves", "--", "true").returncode, 0)

    def test_after_a_command_that_fails(self):
        self.assertEqual(chassis("run", "--name", "leaves", "--", "false").returncode, 1)

    def ended_by(self, number: int) -> int:
        running = subprocess.Popen([str(BIN / "chassis"), "run", "--name", "leaves", "--", "sh", "-c", "echo up; sleep 1000"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                                   env=os.environ | {"CHASSIS_RUN_DIR": str(RUN)})
        with running.stdout:
            self.assertEqual(running.stdout.readline().strip(), "up")
            running.send_signal(number)
            running.stdout.read()  # ends when the last process of the sandbox has closed it
        return running.wait(timeout=30)

    def test_after_an_interrupt(self):
        self.assertNotEqual(self.ended_by(signal.SIGINT), 0)

    def test_after_a_request_to_end(self):
        self.assertNotEqual(self.ended_by(signal.SIGTERM), 0)


if __name__ == "__main__":
    unittest.main()
