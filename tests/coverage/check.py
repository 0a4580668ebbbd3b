"""Run the unit tests of the coverage build and report what they leave unproved.

usage: check.py TOP [--report]

It counts three things: trace sites that a test asserts, call sites that were seen to succeed and to fail, and lines and
branches of tesk/. --report also writes the coverage of every file to build/test/coverage, as text and as HTML.
Exit status: 0 when everything is proved, 1 otherwise.
"""

from __future__ import annotations

import os
import pathlib
import subprocess
import sys

import call_sites
import lines
import trace_sites


def run_tests(build: pathlib.Path, facts: pathlib.Path) -> bool:
    for counter in build.rglob("*.gcda"):
        counter.unlink()
    facts.unlink(missing_ok=True)
    done = subprocess.run([build / "bin/unit_tests", "--gtest_brief=1"], env={**os.environ, "TESK_SITES": str(facts)})
    return done.returncode == 0 and facts.exists()


def say(what: str, total: int, complaints: list[str]) -> bool:
    for complaint in complaints:
        print(complaint)
    print(f"{what}: {total}, {len(complaints)} complaints")
    return not complaints


def main() -> int:
    if len(sys.argv) < 2 or sys.argv[2:] not in ([], ["--report"]):
        print("usage: check.py TOP [--report]", file=sys.stderr)
        return 2
    top = pathlib.Path(sys.argv[1]).resolve()
    build = top / "build/coverage"
    if not run_tests(build, build / "facts"):
        print("the unit tests of the coverage build do not pass; nothing is counted")
        return 1
    facts = [line.split("\t") for line in (build / "facts").read_text(encoding="utf-8").splitlines()]
    traces = [trace_sites.Asserted(fact[1], fact[2], int(fact[3]), fact[4]) for fact in facts if fact[0] == "trace"]
    calls = [(fact[1], int(fact[2], 16), fact[3]) for fact in facts if fact[0] == "call"]
    here = top / "tests/coverage"

    sources = trace_sites.sources_below(top)
    total = sum(len(trace_sites.sites_of(*source)) for source in sources.items())
    traces_proved = say("trace sites", total, trace_sites.complaints(sources, traces))
    objects = sorted((build / "tests/unit/CMakeFiles/daemon_under_test.dir").rglob("*.o"))
    total, unproved = call_sites.check(top, build / "bin/unit_tests", objects, calls,
                                       (here / "exempt_calls").read_text(encoding="utf-8"))
    calls_proved = say("call sites", total, unproved)
    covered = lines.check(top, build, "--report" in sys.argv)
    return 0 if traces_proved and calls_proved and covered else 1


if __name__ == "__main__":
    sys.exit(main())
