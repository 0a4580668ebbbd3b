"""One mutant's fate: built, run, and looked at twice when nothing noticed it.

A mutant that the unit tests pass is compiled once more, optimised: one whose code is the original's to the byte is no
change at all. What is left runs under the sanitizers, whose suite is a part of the tests too.
"""

from __future__ import annotations

import pathlib
import resource
import shutil
import signal
import subprocess
import tempfile
import threading
import time

from mutation import Mutation
from workshop import PLAIN, Broken, Workshop

INVALID = "does not compile"
SAME = "same code"
CAUGHT = "caught"
SURVIVED = "survived"

ARGUMENTS = ("--gtest_fail_fast", "--gtest_brief=1")
MEMORY_BYTES = 2 << 30
SECONDS_AT_LEAST = 1.0  # processor time; a loop ends there
TIMES_THE_ORIGINAL = 20.0
PATIENCE = 100.0  # wall time for each second of processor time, on a machine that others use as well


class Bench:
    """Tries mutants, any number of them at the same time."""

    def __init__(self, workshops: list[Workshop], folder: pathlib.Path):
        self.workshops = workshops  # the plain one first
        self.folder = folder
        self.limits: dict[str, int] = {}
        self.making_ready = threading.Lock()

    def ready(self, workshop: Workshop, jobs: int) -> None:
        """Builds the original when it is first needed, and sees that it passes."""
        with self.making_ready:
            if workshop.flavour in self.limits:
                return
            workshop.prepare(jobs)
            said = self.measure(workshop)
            if said:
                raise Broken(f"the unit tests fail without any mutation: {said}")

    def measure(self, workshop: Workshop) -> str:
        """Runs the original and sets the limit of its mutants. @return what it said if it failed"""
        self.limits[workshop.flavour] = 60
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        passed, said = self.passes(workshop, workshop.program)
        used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
        self.limits[workshop.flavour] = int(max(SECONDS_AT_LEAST, TIMES_THE_ORIGINAL * used)) + 1
        return "" if passed else said

    def passes(self, workshop: Workshop, program: pathlib.Path) -> tuple[bool, str]:
        seconds = self.limits[workshop.flavour]
        limited = ["prlimit", f"--cpu={seconds}", "--core=0"]
        if workshop.flavour == PLAIN:  # the sanitizers reserve addresses far beyond
            limited.append(f"--as={MEMORY_BYTES}")
        with tempfile.TemporaryFile(dir=self.folder) as output:
            try:
                status = subprocess.run([*limited, program, *ARGUMENTS], stdin=subprocess.DEVNULL, stdout=output,
                                        stderr=output, cwd=program.parent, timeout=seconds * PATIENCE).returncode
            except subprocess.TimeoutExpired:
                return False, "does not end"
            if status in (-signal.SIGXCPU, -signal.SIGKILL):
                return False, "does not end"
            output.seek(0)
            return status == 0, noticed(output.read(1 << 20).decode(errors="replace"), status)

    def build(self, workshop: Workshop, mutation: Mutation, place: pathlib.Path) -> pathlib.Path | None:
        objects = {}
        for command, target, original in workshop.compile_commands(mutation, place):
            if not succeeds(workshop, command):
                return None
            objects[original] = target
        program = place / workshop.flavour / "program"
        program.parent.mkdir()
        return program if succeeds(workshop, workshop.link_command(objects, program)) else None

    def is_same_code(self, mutation: Mutation, place: pathlib.Path) -> bool:
        """Optimised, the mutant's objects are the original's to the byte."""
        plain = self.workshops[0]
        other = place / "original"
        (other / "overlay").mkdir(parents=True)
        for (mutant, target, _), (original, expected, _) in zip(plain.compile_commands(mutation, place, "-O2"),
                                                                plain.compile_commands(mutation, other, "-O2")):
            source = original.index("-c") + 1
            original[source] = original[source].replace(str(other / "overlay"), str(plain.copy))
            if not succeeds(plain, mutant) or not succeeds(plain, original):
                return False
            if pathlib.Path(target).read_bytes() != pathlib.Path(expected).read_bytes():
                return False
        return True

    def try_out(self, mutation: Mutation) -> dict:
        started = time.monotonic()
        place = pathlib.Path(tempfile.mkdtemp(prefix="mutant-", dir=self.folder))
        try:
            outcome, by = self.fate(mutation, place)
        finally:
            shutil.rmtree(place, ignore_errors=True)
        return {"key": mutation.key, "outcome": outcome, "by": by, "seconds": round(time.monotonic() - started, 2)}

    def fate(self, mutation: Mutation, place: pathlib.Path) -> tuple[str, str]:
        changed = place / "overlay" / mutation.file
        changed.parent.mkdir(parents=True)
        changed.write_text(mutation.applied((self.workshops[0].copy / mutation.file).read_text(encoding="utf-8")),
                           encoding="utf-8")
        for workshop in self.workshops:
            self.ready(workshop, jobs=1)
            program = self.build(workshop, mutation, place)
            if program is None:
                return INVALID, ""
            passed, by = self.passes(workshop, program)
            if not passed:
                return CAUGHT, by
            if workshop.flavour == PLAIN and self.is_same_code(mutation, place):
                return SAME, ""
        return SURVIVED, ""


def succeeds(workshop: Workshop, command: list[str]) -> bool:
    return subprocess.run(command, cwd=workshop.build, stdin=subprocess.DEVNULL, capture_output=True).returncode == 0


def noticed(output: str, status: int) -> str:
    """The first test that failed, or how the program ended."""
    for line in output.splitlines():
        if line.startswith("[  FAILED  ]"):
            return line.split("]", 1)[1].strip().split(" ")[0].rstrip(",")
        if "ERROR: AddressSanitizer" in line or "runtime error:" in line:
            return line.split(":", 1)[-1].strip()[:80]
    return f"signal {-status}" if status < 0 else f"status {status}"
