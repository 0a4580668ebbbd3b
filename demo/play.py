"""Plays the demonstration inside a chassis: prints each step as one sentence with its evidence below.

Exit status: 0 only if every step was seen.
"""

from __future__ import annotations

import subprocess
import sys
import time

import lab
import steps


def main() -> int:
    bold, green, red, plain = ("\033[1m", "\033[32m", "\033[31m", "\033[0m") if sys.stdout.isatty() else ("",) * 4
    started = time.monotonic()
    for number, step in enumerate(steps.STEPS, 1):
        print(f"{bold}{number}. {step.__doc__}{plain}", flush=True)
        try:
            step()
        except (lab.Unmet, subprocess.TimeoutExpired) as unmet:
            print(f"   {red}not seen:{plain} {unmet}", flush=True)
            print(f"demonstration: step {number} of {len(steps.STEPS)} failed", file=sys.stderr)
            return 1
        print(f"   {green}seen{plain}", flush=True)
    print(f"All {len(steps.STEPS)} steps seen in {time.monotonic() - started:.1f} s.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
