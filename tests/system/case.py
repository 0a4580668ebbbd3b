"""A system test: the real daemon on the virtual chassis.

A method marked `@in_chassis(…)` runs inside a chassis of its own: the runner starts `chassis run … -- python3 -m
unittest THIS.TEST`, which runs the body of the method. Afterwards nothing of the chassis may be left on the machine.
The programs under test are in the folder TESK_BIN (default build/host/bin).
"""

from __future__ import annotations

import functools
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ.get("TESK_BIN", ROOT / "build/host/bin"))
EXAMPLES = ROOT / "examples"
sys.path.insert(0, str(ROOT / "demo"))

INSIDE = "TESK_SYSTEM_TEST"
BOUND = 60.0


def chassis(*words: object, timeout: float = BOUND, **more: object) -> subprocess.CompletedProcess:
    """Runs the `chassis` program outside any sandbox, with the test's own run folder."""
    folder = ROOT / "build" / "system"
    folder.mkdir(parents=True, exist_ok=True)
    environment = os.environ | {"CHASSIS_RUN_DIR": str(folder), "PATH": f"{BIN}:{os.environ['PATH']}"} | more.pop("env", {})
    return subprocess.run([str(BIN / "chassis"), *map(str, words)], capture_output=True, text=True, timeout=timeout,
                          stdin=subprocess.DEVNULL, env=environment, **more)


def in_chassis(description: str | None = None, *options: str):
    """Marks a test that runs inside a chassis: the built-in one, or the one of an example file."""
    def mark(method):
        @functools.wraps(method)
        def start(self: unittest.TestCase) -> None:
            if os.environ.get(INSIDE):
                return method(self)
            file = [str(EXAMPLES / description)] if description else []
            done = chassis("run", *file, "--name", f"test-{os.getpid()}", *options, "--", sys.executable, "-B", "-m",
                           "unittest", self.id(), cwd=ROOT / "tests/system", env={INSIDE: "1"})
            self.assertEqual(done.returncode, 0, f"\n{done.stdout}{done.stderr}")
            self.assertRegex(done.stderr, r"Ran 1 test", "the test did not run inside")
        return start
    return mark


def description(text: str) -> str:
    """Writes a chassis description to a file of its own. The caller removes the file."""
    with tempfile.NamedTemporaryFile("w", suffix=".yaml", delete=False, encoding="utf-8") as file:
        file.write(text)
    return file.name
