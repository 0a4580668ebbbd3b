"""Measure a complete chassis as a user sees it: TCP throughput and round trips between the AMM (the management module)
and a blade over a CIN VLAN (chassis internal network), the processor time of each process, and the load at rest.

usage: run.py [--quick] [--json FILE]

It measures with programs that a user would use: iperf3 and ping, in the nodes' network namespaces. Exit status: 0 when
every limit is met, 1 when one is missed.
"""

from __future__ import annotations

import argparse
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = ROOT / "build/host/bin"
INSIDE = "CHASSIS_BENCH_INSIDE"
sys.path.insert(0, str(ROOT / "demo"))

import lab  # noqa: E402

VLAN, BLADE, INTERFACE = "100", "blade1", "vlan100"
THROUGHPUT_MIN = 300.0  # Mbit/s
IDLE_MAX = 1.0  # percent of a core


def processor_seconds(pid: int) -> float:
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def processes() -> dict[str, int]:
    return {"tesk": lab.status()["daemon"]["pid"], "chassis": int(lab.run("pgrep", "-o", "-x", "chassis").stdout)}


class Meter:
    """Percent of a core that daemon and chassis use, from construction until `read`."""

    def __init__(self) -> None:
        self.before = {name: processor_seconds(pid) for name, pid in processes().items()}
        self.started = time.monotonic()

    def read(self) -> dict[str, float]:
        elapsed = time.monotonic() - self.started
        return {name: 100 * (processor_seconds(pid) - self.before[name]) / elapsed
                for name, pid in processes().items()}


def idle(seconds: float) -> dict[str, float]:
    meter = Meter()
    time.sleep(seconds)  # the measurement's period: there is no event to wait for
    return meter.read()


def stream(direction: str, seconds: int) -> dict:
    """Measures one TCP connection; `direction` is "to blade" or "to AMM"."""
    server = subprocess.Popen(["chassis", "exec", BLADE, "iperf3", "--server", "--one-off", "--forceflush"],
                              stdout=subprocess.PIPE, text=True)
    assert server.stdout is not None
    while "listening" not in server.stdout.readline():
        lab.require(server.poll() is None, "iperf3 does not serve in the blade's namespace")
    meter = Meter()
    done = lab.run("chassis", "exec", "amm", "iperf3", "--client", lab.address(BLADE, INTERFACE), "--json", "--time",
                   str(seconds), *(["--reverse"] if direction == "to AMM" else []), timeout=seconds + lab.BOUND)
    used = meter.read()
    server.communicate(timeout=lab.BOUND)
    end = json.loads(done.stdout)["end"]
    return {"mbit_per_second": end["sum_received"]["bits_per_second"] / 1e6,
            "retransmits": end["sum_sent"].get("retransmits", 0), "processor_percent": used,
            "ends_percent": end["cpu_utilization_percent"]["host_total"] + end["cpu_utilization_percent"]["remote_total"]}


def round_trips(count: int) -> dict[str, float]:
    done = lab.run("chassis", "exec", "amm", "ping", "-n", "-q", "-i", "0.01", "-c", str(count), "-I", INTERFACE,
                   lab.address(BLADE, INTERFACE), timeout=count * 0.02 + lab.BOUND)
    figures = re.search(r"(\d+) received.*= ([0-9.]+)/([0-9.]+)/([0-9.]+)/([0-9.]+) ms", done.stdout, re.S)
    lab.require(figures is not None and int(figures.group(1)) == count, f"pings were lost: {done.stdout}")
    assert figures is not None
    return dict(zip(("minimum_ms", "average_ms", "maximum_ms", "deviation_ms"), map(float, figures.groups()[1:])))


def measure(quick: bool) -> dict:
    rest = idle(3 if quick else 10)
    lab.run("cush", "-c", f"vlan {VLAN} cin")
    lab.event("wait-ready")
    pings = round_trips(100 if quick else 1000)
    rounds, seconds = (1, 2) if quick else (5, 5)
    streams: dict[str, list[dict]] = {"to blade": [], "to AMM": []}
    for _ in range(rounds):
        for direction, results in streams.items():
            results.append(stream(direction, seconds))
    return {"version": 1, "processors": os.cpu_count(), "idle_percent": rest, "round_trip": pings, "streams": streams}


def table(figures: dict) -> tuple[str, bool]:
    lines, met = [], True

    def judged(text: str, good: bool) -> None:
        nonlocal met
        met &= good
        lines.append(f"{text} {'met' if good else 'MISSED'}")

    for direction, results in figures["streams"].items():
        rates = [result["mbit_per_second"] for result in results]
        middle = statistics.median(rates)
        judged(f"TCP {direction:<9} {middle:7.0f} Mbit/s ({min(rates):.0f} to {max(rates):.0f}; at least "
               f"{THROUGHPUT_MIN:.0f})", middle >= THROUGHPUT_MIN)
        spent = {name: statistics.median(result["processor_percent"][name] for result in results)
                 for name in ("tesk", "chassis")}
        ends = statistics.median(result["ends_percent"] for result in results)
        lines.append(f"    percent of a core: chassis {spent['chassis']:.0f}, tesk {spent['tesk']:.0f}, both iperf3 "
                     f"{ends:.0f}; retransmitted segments {sum(result['retransmits'] for result in results)}")
    pings = figures["round_trip"]
    lines.append(f"ping AMM to blade: minimum {pings['minimum_ms']:.3f}, average {pings['average_ms']:.3f}, maximum "
                 f"{pings['maximum_ms']:.3f} ms")
    for name, percent in figures["idle_percent"].items():
        judged(f"{name} at rest: {percent:.2f} % of a core (at most {IDLE_MAX:.0f} %)", percent <= IDLE_MAX)
    return "\n".join(lines), met


def run_inside(quick: bool, file: str | None) -> int:
    figures = measure(quick)
    if file:
        pathlib.Path(file).write_text(json.dumps(figures, indent=2) + "\n", encoding="utf-8")
    text, met = table(figures)
    print(text)
    return 0 if met else 1


def run_outside() -> int:
    folder = ROOT / "build" / "bench"
    folder.mkdir(parents=True, exist_ok=True)
    environment = os.environ | {INSIDE: "1", "CHASSIS_RUN_DIR": str(folder), "PATH": f"{BIN}:{os.environ['PATH']}"}
    return subprocess.run([str(BIN / "chassis"), "run", "--name", f"bench-{os.getpid()}", "--", sys.executable, "-B",
                           __file__, *sys.argv[1:]], env=environment, cwd=ROOT, check=False).returncode


def main() -> int:
    parser = argparse.ArgumentParser(description="Measure a complete chassis.")
    parser.add_argument("--quick", action="store_true", help="one short round")
    parser.add_argument("--json", metavar="FILE", help="write a document for programs to this file")
    options = parser.parse_args()
    if INSIDE not in os.environ:
        return run_outside()
    try:
        return run_inside(options.quick, options.json)
    except lab.Unmet as unmet:
        print(f"bench/chassis: {unmet}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
