"""Memory, start-up time and idle load are within the limits that the product promises."""

import json
import os
import pathlib
import re
import time
import unittest

from case import BIN, chassis, in_chassis
import lab

SANITIZED = "sanitize" in str(BIN)


def processor_seconds(pid: int) -> float:
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


@unittest.skipIf(SANITIZED, "sanitizers change memory and time")
class Figures(unittest.TestCase):
    @in_chassis()
    def test_resident_memory_at_rest_is_under_8_mib(self):
        pid = lab.status()["daemon"]["pid"]
        rss = next(line for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines() if "VmRSS" in line)
        self.assertLess(int(rss.split()[1]), 8 * 1024, rss)

    def test_start_to_first_relayed_frame_is_under_500_ms(self):
        done = chassis("run", "--name", "figures", "--", "sh", "-c",
                       "chassis exec amm ping -D -c 1 -I sol0 10.255.255.11 && chassis status --json")
        self.assertEqual(done.returncode, 0, done.stderr)
        answered = float(re.search(r"^\[([0-9.]+)\] 64 bytes", done.stdout, re.M).group(1))
        started = json.loads(done.stdout[done.stdout.index("\n{"):])["daemon"]["started_ns"] / 1e9
        self.assertLess(answered - started, 0.5)

    @in_chassis()
    def test_an_idle_chassis_uses_under_one_percent_of_a_core(self):
        state = lab.status()
        pids = [state["daemon"]["pid"], int(lab.run("pgrep", "-o", "-x", "chassis").stdout)]
        before, started = sum(map(processor_seconds, pids)), time.monotonic()
        time.sleep(3)  # the measurement's period: there is no event to wait for
        load = (sum(map(processor_seconds, pids)) - before) / (time.monotonic() - started)
        self.assertLess(load, 0.01)


if __name__ == "__main__":
    unittest.main()
