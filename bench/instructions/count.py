"""Count the instructions that a frame costs the daemon on the target, and compare them with the stored counts.

usage: count.py PROGRAM            fail if a frame costs over 5 % more than stored in powerpc.json
       count.py PROGRAM --store    store the new counts

PROGRAM is frame_path, built for the target. It runs under the emulator, one instruction at a time. The cost of n frames
is the difference between a run with 2 n frames and one with n, so that start and end do not count. Every run counts the
same number, whatever else the machine does: the program gets a constant name and no environment, because these are on
its stack and decide how the rest of the stack is aligned.
"""

from __future__ import annotations

import json
import pathlib
import shutil
import subprocess
import sys

STORED = pathlib.Path(__file__).with_name("powerpc.json")
FRAMES = 10  # twice this number has as many digits
TOLERANCE = 0.05


def emulator() -> list[str]:
    """The command of the emulator with a log line for every instruction; the option has two names."""
    program = shutil.which("qemu-ppc-static") or sys.exit("count.py: qemu-ppc-static is not installed")
    help_text = subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout
    one_at_a_time = "-one-insn-per-tb" if "-one-insn-per-tb" in help_text else "-singlestep"
    return [program, one_at_a_time, "-d", "nochain,exec", "-D", "/dev/stderr"]


def instructions(run: list[str], folder: pathlib.Path, kind: str, frames: int) -> int:
    with subprocess.Popen([*run, kind, str(frames)], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, cwd=folder, env={}) as process:
        assert process.stderr is not None
        counted = sum(line.startswith(b"Trace ") for line in process.stderr)
    if process.returncode != 0:
        sys.exit(f"count.py: of {frames} frames {kind}, not those came out that should; "
                 "frame_path.cpp says what each kind is")
    return counted


def count(program: pathlib.Path) -> dict[str, float]:
    folder, run = program.resolve().parent, [*emulator(), "./" + program.name]
    kinds = subprocess.run([run[0], run[-1]], capture_output=True, text=True, check=True, cwd=folder).stdout.split()
    return {kind: (instructions(run, folder, kind, 2 * FRAMES) - instructions(run, folder, kind, FRAMES)) / FRAMES
            for kind in kinds}


def main() -> int:
    arguments = sys.argv[1:]
    if len(arguments) not in (1, 2) or arguments[1:] not in ([], ["--store"]):
        print(__doc__, file=sys.stderr)
        return 2
    counted = count(pathlib.Path(arguments[0]))
    if arguments[1:]:
        STORED.write_text(json.dumps(counted, indent=2) + "\n", encoding="utf-8")
    stored = json.loads(STORED.read_text(encoding="utf-8"))
    failed = counted.keys() != stored.keys()
    if failed:
        print("count.py: the kinds of frames are not those that are stored")
    for kind, cost in counted.items():
        limit = stored.get(kind, cost) * (1 + TOLERANCE)
        dear = cost > limit
        failed |= dear
        print(f"{kind:<20} {cost:8.1f} instructions a frame, stored {stored.get(kind, 0):8.1f}"
              + (f"  over the limit of {limit:.1f}" if dear else ""))
    if failed:
        print("If the cost is meant, store it: bench/instructions/run --store, and commit powerpc.json.")
    return int(failed)


if __name__ == "__main__":
    sys.exit(main())
