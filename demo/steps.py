"""The demonstration's steps. Each step is a function that starts from any state of the chassis, sets up what it
needs, prints the evidence, and raises `Unmet` when something was not seen. The evidence is never only the daemon's
own report: it is the output of ping or tcpdump, the chassis's counters, or files."""

from __future__ import annotations

import os
import re
import signal

import lab
from lab import require

BLADES = ["blade1", "blade2", "blade3", "blade4"]
CIN, UNUSED = 100, 200
CIN_IF, UNUSED_IF, SOL_IF = f"vlan{CIN}", f"vlan{UNUSED}", "sol0"


def evidence(text: str, lines: int | None = None) -> None:
    rows = [row for row in text.rstrip("\n").splitlines() if row.strip()]
    for row in rows if lines is None else rows[:lines]:
        print(f"      {row}")


def pings(node: str, interface: str, peer: str, expect_all: bool = True, count: int = 3) -> None:
    result = lab.ping(node, interface, lab.address(peer, interface), count=count, patient=expect_all)
    evidence(f"{node} -> {peer} over {interface}: " + result.text.strip().splitlines()[-2 if expect_all else -1])
    # A busy machine delivers several answers at once, so more answers than expected may arrive.
    seen = result.received >= count if expect_all else result.received == 0
    require(seen, f"{node} pinging {peer} over {interface}: {result.received} of {result.sent} answers, "
                  f"expected {count if expect_all else 0}")


def ensure_cin() -> None:
    if str(CIN) not in lab.cush("show cin vlans"):
        lab.cush(f"vlan {CIN} cin")


def start_up() -> None:
    """The chassis is up: an 82 board, blades on four ports, and the daemon, whose trace history shows its start."""
    state = lab.status()
    board = state["chassis"]["board"]
    require(board == 82, f"the board is {board}, not 82")
    up = [port for port in state["ports"] if port["link"] == "up"]
    require(len(up) >= len(BLADES), f"only {len(up)} ports are up")
    evidence(f"board {board}, ports up: {', '.join(port['name'] for port in up)}")
    pid = state["daemon"]["pid"]
    with open(f"/proc/{pid}/cmdline", "rb") as file:
        evidence(f"process {pid}: {file.read().split(bytes(1))[0].decode()}")
    history = lab.trace()
    for words in ("TESK QBUS Bind Success", "Srv_start_status\\(\\) returned SUCCESS", "QBUS_OPC_LC_ONLINE",
                  "Instance created for Port"):
        line = next((line for line in history.splitlines() if re.search(words, line)), None)
        require(line is not None, f"the trace history has no '{words}'")
        evidence(line)
    with open("/proc/net/packet", encoding="ascii") as file:
        sockets = [row for row in file.read().splitlines() if " f102 " in row]
    require(len(sockets) == 2, f"/proc/net/packet shows {len(sockets)} sockets of protocol 0xF102, expected 2")
    evidence("/proc/net/packet: two packet sockets of protocol f102")


def serial_over_lan() -> None:
    """SoL: the AMM reaches every blade over VLAN 4095, and no blade over a VLAN that is not configured."""
    for blade in BLADES:
        pings("amm", SOL_IF, blade, count=2)
    pings("amm", UNUSED_IF, "blade1", expect_all=False, count=2)


def cin_vlan() -> None:
    """CIN VLAN 100 is configured from the shell, listed, in the running configuration, and carries frames both ways."""
    lab.cush(f"vlan {CIN} cin")
    evidence(lab.cush("show cin vlans"))
    running = lab.cush("show running-config")
    evidence(running)
    require(re.search(rf"^vlan {CIN}\n\s+cin$", running, re.M) is not None, "the running configuration lacks 'cin'")
    require(str(CIN) in lab.cush("show cin vlans"), "the VLAN is not listed")
    pings("amm", CIN_IF, "blade2")
    pings("blade3", CIN_IF, "amm")


def learning() -> None:
    """Learning: once blade 2 has sent, a frame to it reaches only blade 2; one to an unknown address reaches all."""
    ensure_cin()
    pings("blade2", CIN_IF, "amm", count=1)
    known = lab.mac("blade2", CIN_IF)
    seen = lab.reaches(111, known, CIN_IF, ["blade2", "blade3"])
    evidence("to blade 2's address, tcpdump on blade2: " + seen["blade2"][0])
    evidence("                      tcpdump on blade3: only the flooded frame behind it")
    require(lab.shows(seen["blade2"], 111), "blade 2 did not see the frame to its address")
    require(not lab.shows(seen["blade3"], 111), "blade 3 saw the frame to blade 2's address")
    seen = lab.reaches(112, "02:de:ad:be:ef:01", CIN_IF, ["blade2", "blade3"])
    for blade in ("blade2", "blade3"):
        evidence(f"to an unknown address, tcpdump on {blade}: " + seen[blade][0])
        require(lab.shows(seen[blade], 112), f"{blade} did not see the frame to an unknown address")


def forwarding_state() -> None:
    """Forwarding state: while blade 2's port is blocked in VLAN 100 nothing reaches it; unblocked, every frame does."""
    ensure_cin()
    pings("blade2", CIN_IF, "amm", count=1)
    known = lab.mac("blade2", CIN_IF)
    blocked_before = dropped_in_asic("blocked")
    lab.event("cbl", "block", "blade2", CIN)
    for what, destination in (("unicast", known), ("flooded", lab.BROADCAST)):
        seen = lab.reaches(113, destination, CIN_IF, ["blade2", "blade3"], silent=("blade2",))
        require(not seen["blade2"], f"the blocked port saw a {what} frame")
        evidence(f"blocked: a {what} frame does not reach blade2; blade3 saw {len(seen['blade3'])} flooded")
    require(dropped_in_asic("blocked") == blocked_before, "the daemon sent frames to the blocked port")
    evidence("the ASIC had nothing to drop: the daemon did not send them")
    lab.event("cbl", "forward", "blade2", CIN)
    for what, destination in (("unicast", known), ("flooded", lab.BROADCAST)):
        seen = lab.reaches(114, destination, CIN_IF, ["blade2", "blade3"])
        require(lab.shows(seen["blade2"], 114), f"the unblocked port did not see a {what} frame")
        evidence(f"forwarding: a {what} frame at blade2: " + seen["blade2"][0])


def dropped_in_asic(reason: str) -> int:
    return lab.status()["cpu"]["dropped"].get(reason, 0)


def vlan_entry(state: dict, vlan: int) -> dict:
    return next((entry for entry in state["vlans"] if entry["vlan"] == vlan), {"classified": False, "ltl": False})


def last_member() -> None:
    """The last member's link goes down: the VLAN is deactivated; link up activates it again."""
    ensure_cin()
    require(vlan_entry(lab.status(), CIN)["classified"], f"VLAN {CIN} is not classified to the CPU to begin with")
    heard = len(lab.services_log())
    for blade in BLADES:
        lab.event("link", "down", blade)
    news = lab.services_log()[heard:]
    for words in (f"kinb: classification of VLAN {CIN} removed", f"ltlsvc: release of the LTL of VLAN {CIN} requested"):
        line = next((line for line in news.splitlines() if words in line), None)
        require(line is not None, f"the services did not log '{words}'")
        evidence(line)
    require(not vlan_entry(lab.status(), CIN)["classified"], f"VLAN {CIN} is still classified to the CPU")
    pings("amm", CIN_IF, "blade2", expect_all=False, count=1)
    for blade in BLADES:
        lab.event("link", "up", blade)
    require(vlan_entry(lab.status(), CIN)["classified"], f"VLAN {CIN} is not classified again")
    evidence(f"links up: VLAN {CIN} is classified to the CPU again")
    pings("amm", CIN_IF, "blade2")


def counters() -> None:
    """`show counters` shows for every port the same figures as the chassis's own count on the wires."""
    pings("amm", SOL_IF, "blade1", count=1)
    # A network stack may send a frame between the two readings; then both are repeated.
    for _ in range(3):
        shown = lab.cush("show counters")
        wires = wire_counters()
        differing = [name for name, counts in wires.items() if shown_counters(shown).get(name) != counts]
        if not differing:
            break
    evidence(shown)
    require(not differing, f"{', '.join(differing)}: shown {[shown_counters(shown).get(name) for name in differing]}, "
                           f"counted on the wire {[wires[name] for name in differing]}")
    evidence(f"{len(wires)} interfaces, every figure equal to the chassis's own count")


def shown_counters(table: str) -> dict[str, list[int]]:
    """Each interface's Tx unicast, Tx multicast, Rx unicast and Rx multicast, as the shell prints them."""
    rows = re.finditer(r"^((?:ethernet \d+/\d+)|mgmt\d)((?:\s+\d+){4})\s*$", table, re.M)
    return {row.group(1): list(map(int, row.group(2).split())) for row in rows}


def wire_counters() -> dict[str, list[int]]:
    """The same counters, as the chassis counted them on the wires."""
    state = lab.status()
    wires = state["ports"] + [state["devices"]["management_link"] | {"name": "mgmt0"}]
    return {wire["name"]: [wire["tx"]["ucast"], wire["tx"]["mcast"], wire["rx"]["ucast"], wire["rx"]["mcast"]]
            for wire in wires}


def recovery() -> None:
    """Saved, then killed: the supervisor restarts the daemon, VLAN 100 is back, and ping works as before."""
    ensure_cin()
    lab.cush("copy running-config startup-config")
    before = lab.status()["daemon"]
    os.kill(before["pid"], signal.SIGKILL)
    after = lab.restarted(before["starts"] + 1)
    require(after["pid"] != before["pid"] and after["starts"] == before["starts"] + 1, "the daemon was not restarted")
    evidence(f"process {before['pid']} killed, {after['pid']} serves; outage {after['outage_ms']} ms")
    evidence(lab.cush("show cin vlans"))
    require(str(CIN) in lab.cush("show cin vlans"), "the VLAN is gone")
    pings("amm", CIN_IF, "blade2")


def deletion() -> None:
    """The VLAN manager reports VLAN 100 deleted: it is gone from shell, configuration, kernel device and wire."""
    ensure_cin()
    lab.event("vlan-delete", CIN)
    listed, running, state = lab.cush("show cin vlans"), lab.cush("show running-config"), lab.status()
    evidence(listed)
    require(str(CIN) not in listed, "the shell still lists it")
    require(f"vlan {CIN}" not in running, "the running configuration still has it")
    require(all(entry["vlan"] != CIN for entry in state["mirror"]["vlans"]), "the kernel device still holds it")
    evidence("kernel device holds VLANs: " + ", ".join(str(entry["vlan"]) for entry in state["mirror"]["vlans"]))
    pings("amm", CIN_IF, "blade2", expect_all=False, count=1)


STEPS = [start_up, serial_over_lan, cin_vlan, learning, forwarding_state, last_member, counters, recovery, deletion]
