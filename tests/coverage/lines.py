"""Lines and branches of the daemon that the unit tests run, counted by gcovr."""

from __future__ import annotations

import pathlib
import subprocess

LINES_MIN = 100
BRANCHES_MIN = 95


def check(top: pathlib.Path, build: pathlib.Path, with_report: bool) -> bool:
    """Prints the summary. @return whether the limits are met"""
    command = ["gcovr", "--root", str(top), "--filter", str(top / "tesk") + "/", "--exclude-throw-branches",
               "--exclude-unreachable-branches", str(build / "tests/unit/CMakeFiles")]
    command += ["--print-summary", "--fail-under-line", str(LINES_MIN), "--fail-under-branch", str(BRANCHES_MIN)]
    if with_report:
        folder = top / "build/test/coverage"
        folder.mkdir(parents=True, exist_ok=True)
        command += ["--txt", str(folder / "coverage.txt"), "--html-details", str(folder / "index.html")]
    covered = subprocess.run(command, cwd=build).returncode == 0  # gcovr leaves its working files there
    if with_report:
        print(f"report: {folder}/index.html, {folder}/coverage.txt")
    return covered
