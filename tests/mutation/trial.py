"""One mutant: it is built, run, and examined again if no test detects it.

Nearly every test includes a changed header as well, and tests compile slowly. So first only the daemon is built with the
header. If a test then fails, that test is built with it too; if it still fails, the mutant is caught. All tests are built
only if that leaves a doubt.

A mutant that passes the unit tests is compiled once more, optimised. If its code equals the original's byte for byte, it
is no change at all. The others run under the sanitizers, whose suite is part of the tests too.
"""

from __future__ import annotations

import dataclasses
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import threading
import time

from mutation import Mutation
from workshop import PLAIN, Broken, Compilation, Workshop

INVALID = "does not compile"
SAME = "same code"
CAUGHT = "caught"
SURVIVED = "survived"

ARGUMENTS = ("--gtest_fail_fast", "--gtest_brief=1")
MEMORY_BYTES = 2 << 30
SECONDS_AT_LEAST = 1.0  # processor time; ends a mutant that loops
TIMES_THE_ORIGINAL = 20.0
PATIENCE = 100.0  # wall time for each second of processor time, on a shared machine


@dataclasses.dataclass(frozen=True)
class Run:
    passed: bool
    by: str = ""  # the first test that failed, or how the program ended
    file: str = ""  # where that test failed


class Invalid(Exception):
    """The mutant does not compile."""


class Bench:
    """Tries mutants, any number at the same time."""

    def __init__(self, workshops: list[Workshop], folder: pathlib.Path):
        self.workshops = workshops  # the plain one first
        self.folder = folder
        self.limits: dict[str, int] = {}
        self.making_ready = threading.Lock()

    def ready(self, workshop: Workshop, jobs: int) -> None:
        """Builds the original when it is first needed, and checks that it passes."""
        with self.making_ready:
            if workshop.flavour in self.limits:
                return
            workshop.prepare(jobs)
            before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
            run = self.run(workshop, workshop.program, seconds=60)
            used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
            if not run.passed:
                raise Broken(f"the unit tests fail without any mutation: {run.by}")
            self.limits[workshop.flavour] = int(max(SECONDS_AT_LEAST, TIMES_THE_ORIGINAL * used)) + 1

    def run(self, workshop: Workshop, program: pathlib.Path, seconds: int, only: str = "*") -> Run:
        limited = ["prlimit", f"--cpu={seconds}", "--core=0"]
        if workshop.flavour == PLAIN:  # the sanitizers reserve far more addresses
            limited.append(f"--as={MEMORY_BYTES}")
        with tempfile.TemporaryFile(dir=self.folder) as output:
            try:
                status = subprocess.run([*limited, program, *ARGUMENTS, f"--gtest_filter={only}"], stdin=subprocess.DEVNULL,
                                        stdout=output, stderr=output, cwd=program.parent, timeout=seconds * PATIENCE).returncode
            except subprocess.TimeoutExpired:
                return Run(False, "does not end")
            if status in (-signal.SIGXCPU, -signal.SIGKILL):
                return Run(False, "does not end")
            output.seek(0)
            return judged(output.read(1 << 20).decode(errors="replace"), status)

    def try_out(self, mutation: Mutation) -> dict:
        started = time.monotonic()
        place = pathlib.Path(tempfile.mkdtemp(prefix="mutant-", dir=self.folder))
        try:
            outcome, by = self.fate(mutation, place)
        except Invalid:
            outcome, by = INVALID, ""
        finally:
            shutil.rmtree(place, ignore_errors=True)
        return {"key": mutation.key, "outcome": outcome, "by": by, "seconds": round(time.monotonic() - started, 2)}

    def fate(self, mutation: Mutation, place: pathlib.Path) -> tuple[str, str]:
        changed = place / "overlay" / mutation.file
        changed.parent.mkdir(parents=True)
        original = (self.workshops[0].copy / mutation.file).read_text(encoding="utf-8")
        changed.write_text(mutation.applied(original), encoding="utf-8")
        for workshop in self.workshops:
            self.ready(workshop, jobs=1)
            run = self.tests(workshop, mutation, place)
            if not run.passed:
                return CAUGHT, run.by
            if workshop.flavour == PLAIN and is_same_code(workshop, mutation, place):
                return SAME, ""
        return SURVIVED, ""

    def tests(self, workshop: Workshop, mutation: Mutation, place: pathlib.Path) -> Run:
        """Runs the tests of the mutant. All of them are built only if fewer cannot decide."""
        limit = self.limits[workshop.flavour]
        every = workshop.affected(mutation.file)
        parts = [one for one in every if workshop.is_library_part(one)]
        run = self.run(workshop, build(workshop, mutation, place, parts), limit)
        if len(parts) == len(every):
            return run
        noticing = [one for one in every if not run.passed and run.file and one.source.endswith(run.file)]
        if noticing:
            program = build(workshop, mutation, place, parts + noticing)
            again = self.run(workshop, program, limit, only=run.by)
            if not again.passed:
                return again
        return self.run(workshop, build(workshop, mutation, place, every), limit)


def succeeds(workshop: Workshop, command: list[str]) -> bool:
    return subprocess.run(command, cwd=workshop.build, stdin=subprocess.DEVNULL, capture_output=True).returncode == 0


def build(workshop: Workshop, mutation: Mutation, place: pathlib.Path, parts: list[Compilation]) -> pathlib.Path:
    """Builds the program with these objects in place of their originals."""
    objects = {}
    for one in parts:
        command, target = workshop.command(one, mutation, place)
        if not target.exists() and not succeeds(workshop, command):
            raise Invalid
        objects[one.object] = str(target)
    program = place / workshop.flavour / "program"
    if not succeeds(workshop, workshop.link_command(objects, program)):
        raise Invalid
    return program


def is_same_code(workshop: Workshop, mutation: Mutation, place: pathlib.Path) -> bool:
    """Whether the daemon's objects equal the original's byte for byte, optimised and without debug lines."""
    flags = ("-O2", "-g0")
    for one in filter(workshop.is_library_part, workshop.affected(mutation.file)):
        mutant, made = workshop.command(one, mutation, place, *flags)
        original = one.command(workshop.copy, one.source, str(made) + ".original") + [*flags]
        if not succeeds(workshop, mutant) or not succeeds(workshop, original):
            return False
        if made.read_bytes() != pathlib.Path(str(made) + ".original").read_bytes():
            return False
    return True


def judged(output: str, status: int) -> Run:
    """The verdict from the program's output and exit status."""
    place = re.search(r"(\w+\.cpp):\d+: Failure", output)
    failed = re.search(r"^\[  FAILED  \] ([\w./]+)", output, re.M)
    objection = re.search(r"(?:ERROR: AddressSanitizer|runtime error): .{0,80}", output)
    if failed:
        return Run(status == 0, failed[1], place[1] if place else "")
    if objection:
        return Run(False, objection[0])
    return Run(status == 0, f"signal {-status}" if status < 0 else f"status {status}")
