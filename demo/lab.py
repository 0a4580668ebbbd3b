"""Functions for scripts in a running chassis: nodes, shell, events, pings and captures.

Everything here runs inside `chassis run -- …` and uses the programs that a person would use: `cush`,
`chassis`, ping and tcpdump. Nothing sleeps: a capture ends when a frame that must arrive has arrived.
"""

from __future__ import annotations

import json
import os
import pathlib
import re
import select
import subprocess
import sys
import time
from dataclasses import dataclass

BOUND = 10.0
PROBE = pathlib.Path(__file__).with_name("probe.py")


class Unmet(Exception):
    """Something expected was not seen; the message says what."""


def require(truth: bool, sentence: str) -> None:
    if not truth:
        raise Unmet(sentence)


def run(*command: str, check: bool = True, timeout: float = BOUND) -> subprocess.CompletedProcess:
    done = subprocess.run(command, capture_output=True, text=True, timeout=timeout, stdin=subprocess.DEVNULL)
    if check and done.returncode != 0:
        raise Unmet(f"{' '.join(command)}: exit status {done.returncode}: {(done.stderr or done.stdout).strip()}")
    return done


def cush(line: str, check: bool = True) -> str:
    """Runs one line in the operator's shell; returns the output."""
    return run("cush", "-c", line, check=check).stdout


def status() -> dict:
    return json.loads(run("chassis", "status", "--json").stdout)


def event(*words: object) -> None:
    """Causes one event; returns when the daemon has handled its effects."""
    run("chassis", "event", *map(str, words))


def restarted(starts: int) -> dict:
    """Waits until the supervisor has started the daemon that many times and it serves; returns the daemon's status."""
    deadline = time.monotonic() + BOUND
    while time.monotonic() < deadline:
        event("wait-ready")
        daemon = status()["daemon"]
        if daemon["serving"] and daemon["starts"] >= starts:
            return daemon
    raise Unmet(f"the daemon was not started {starts} times within {BOUND:.0f} s")


def services_log() -> str:
    """The log of the chassis's services and its supervisor."""
    return (pathlib.Path(os.environ["OPAL_RUN_DIR"]) / "chassis.log").read_text(encoding="utf-8")


def on(node: str, *command: str, check: bool = True) -> subprocess.CompletedProcess:
    return run("chassis", "exec", node, *command, check=check)


def address(node: str, interface: str) -> str:
    """IPv4 address of an interface."""
    text = on(node, "ip", "-4", "-o", "addr", "show", "dev", interface).stdout
    found = re.search(r"inet ([0-9.]+)/", text)
    require(found is not None, f"{node} has no address on {interface}")
    return found.group(1)


def mac(node: str, interface: str) -> str:
    text = on(node, "ip", "-o", "link", "show", "dev", interface).stdout
    found = re.search(r"link/ether ([0-9a-f:]{17})", text)
    require(found is not None, f"{node} has no {interface}")
    return found.group(1)


@dataclass
class Ping:
    sent: int
    received: int
    text: str

    def last_lines(self) -> str:
        return "\n".join(self.text.strip().splitlines()[-2:])


def ping(node: str, interface: str, destination: str, count: int = 3, patient: bool = True) -> Ping:
    """Pings until `count` answers have arrived. A ping that is not patient sends `count` requests, and waits at most a
    second for the answer to the last one: for destinations that should not answer."""
    patience = ["-w", str(int(BOUND) - 2)] if patient else ["-W", "1"]
    done = on(node, "ping", "-n", "-i", "0.1", "-c", str(count), *patience, "-I", interface, destination, check=False)
    found = re.search(r"(\d+) packets transmitted, (\d+) received", done.stdout)
    require(found is not None, f"ping said: {(done.stdout + done.stderr).strip()}")
    return Ping(int(found.group(1)), int(found.group(2)), done.stdout)


def send(node: str, interface: str, destination: str, length: int) -> None:
    """Sends one raw frame; a capture recognises it by its length."""
    on(node, sys.executable, "-B", str(PROBE), interface, destination, str(length))


def tcpdump_runs_in_namespaces() -> bool:
    """tcpdump drops its privileges, which works only in a sandbox with more than one user."""
    return int(pathlib.Path("/proc/self/uid_map").read_text(encoding="ascii").split()[2]) > 1


class Capture:
    """Runs tcpdump on a node's trunk0, for the duration of a `with` block.

    When an ordinary user started the chassis, tcpdump cannot run in the node's namespace. Then it reads what the
    chassis captures there.
    """

    def __init__(self, node: str, *expression: str):
        self.node, self.expression = node, expression
        self.text = ""

    def __enter__(self) -> "Capture":
        if tcpdump_runs_in_namespaces():
            command = ["chassis", "exec", self.node, "tcpdump", "-i", "trunk0", "--immediate-mode"]
        else:
            command = ["chassis", "capture", self.node]
        self.process = subprocess.Popen([*command, "-nn", "-e", "-t", "-l", *self.expression], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.until(r"listening on|reading from")
        self.text = ""
        return self

    def until(self, pattern: str, bound: float = BOUND) -> str:
        """Reads until a line matches; returns everything captured so far."""
        deadline = time.monotonic() + bound
        while not re.search(pattern, self.text):
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, deadline - time.monotonic()))
            chunk = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not chunk:
                raise Unmet(f"tcpdump on {self.node}'s trunk0 did not show /{pattern}/ but: {self.text!r}")
            self.text += chunk.decode(errors="replace")
        return self.text

    def __exit__(self, *_: object) -> None:
        self.process.terminate()
        self.process.communicate(timeout=BOUND)


BROADCAST = "ff:ff:ff:ff:ff:ff"
LAST_IN_VLAN, LAST_OF_ALL = 222, 333
TAG = 4


def reaches(length: int, destination: str, vlan_interface: str, blades: list[str],
            silent: tuple[str, ...] = ()) -> dict[str, list[str]]:
    """Sends one frame from the AMM; returns the frames of its VLAN that each blade's wire then carried.

    A later frame proves that a frame never arrives. After the tested frame, a second frame is flooded in the same
    VLAN. When the blades that are not `silent` have received it, a third frame over SoL follows, which every blade
    gets.
    """
    captures = [Capture(blade, "vlan and ether proto 0x88b5") for blade in blades]
    entered = []
    try:
        for capture in captures:
            entered.append(capture.__enter__())
        send("amm", vlan_interface, destination, length)
        send("amm", vlan_interface, BROADCAST, LAST_IN_VLAN)
        for capture in captures:
            if capture.node not in silent:
                capture.until(rf"length {LAST_IN_VLAN + TAG}\b")
        send("amm", "sol0", BROADCAST, LAST_OF_ALL)
        for capture in captures:
            capture.until(rf"length {LAST_OF_ALL + TAG}\b")
        return {capture.node: [line for line in capture.text.splitlines()
                               if "0x88b5" in line and f"length {LAST_OF_ALL + TAG}" not in line]
                for capture in captures}
    finally:
        for capture in entered:
            capture.__exit__()


def shows(lines: list[str], length: int) -> bool:
    return any(re.search(rf"length {length + TAG}\b", line) for line in lines)


def trace(category: str | None = None) -> str:
    words = ["chassis", "trace"] + (["--category", category] if category else [])
    return run(*words).stdout


def traced(pattern: str, since: int = 0) -> bool:
    return re.search(pattern, trace()[since:]) is not None
