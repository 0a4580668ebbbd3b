"""Draw a flame graph of the daemon's processor time while it relays.

usage: profile.py [SVG]        (default: docs/relay.svg)

Runs the relay's benchmark and samples the daemon's stacks with perf. This needs linux-perf and a kernel that lets this
user sample. In the picture a box is a function, as wide as its share of the time, above the function that called it.
Point at a box to see its name and share. Kernel functions are blue; those of the daemon and its library are orange.
"""

from __future__ import annotations

import html
import pathlib
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from dataclasses import dataclass, field

ROOT = pathlib.Path(__file__).resolve().parents[1]
BENCH = ROOT / "build/host/bin/relay_bench"
WIDTH, ROW, MARGIN, TEXT_WIDTH = 1200, 17, 30, 7
LOOP = {"[unknown]", "_start", "__libc_start_main@@GLIBC_2.34", "__libc_start_call_main", "main", "processing_pass"}
KERNEL, USER = "#9db8d9", "#e8b06a"


@dataclass
class Frame:
    """A function called from another one, with the samples in it and in the functions that it called."""
    name: str
    kernel: bool
    samples: int = 0
    callees: dict[str, Frame] = field(default_factory=dict)

    def callee(self, name: str, kernel: bool) -> Frame:
        return self.callees.setdefault(name, Frame(name, kernel))

    def depth(self) -> int:
        return 1 + max((callee.depth() for callee in self.callees.values()), default=0)


def record(data: pathlib.Path) -> None:
    """Samples the benchmark and all processes that it starts, because each round has a daemon of its own."""
    done = subprocess.run(["perf", "record", "--event", "cpu-clock", "--freq", "1999", "--call-graph", "dwarf,4096",
                           "--output", str(data), "--", str(BENCH), "--only", "relay", "--rounds", "1",
                           "--frames", "200000", "--sizes", "64"], capture_output=True, text=True, check=False)
    if not data.exists() or data.stat().st_size == 0:
        sys.exit(f"profile.py: perf cannot sample here: {(done.stderr.strip().splitlines() or ['it is silent'])[-1]}")


def stacks(data: pathlib.Path) -> Iterator[list[tuple[str, bool]]]:
    """The functions of each sample, outermost first, and whether each belongs to the kernel."""
    text = subprocess.run(["perf", "script", "--no-inline", "--comms", "tesk", "--fields", "ip,sym,dso", "--input", str(data)],
                          capture_output=True, text=True, check=True).stdout
    for sample in text.split("\n\n"):
        functions = []
        for line in sample.strip().splitlines():
            _, _, rest = line.strip().partition(" ")
            name, _, library = rest.rpartition(" (")
            name = name.replace("(anonymous namespace)::", "").split("<")[0].split("+0x")[0]
            functions.append((name, "kernel" in library))
        functions.reverse()
        # Some stacks cannot be unwound as far as the loop that runs everything; so the loop is removed from all.
        while len(functions) > 1 and functions[0][0] in LOOP:
            functions.pop(0)
        if functions:
            yield functions


def tree_of(data: pathlib.Path) -> Frame:
    root = Frame("all", False)
    for functions in stacks(data):
        root.samples += 1
        frame = root
        for name, kernel in functions:
            frame = frame.callee(name, kernel)
            frame.samples += 1
    return root


def boxes(frame: Frame, total: int, left: float, level: int, bottom: int) -> Iterator[str]:
    width = WIDTH * frame.samples / total
    if width < 1:
        return
    top = bottom - (level + 1) * ROW
    label = frame.name if len(frame.name) * TEXT_WIDTH < width else frame.name[: max(0, int(width / TEXT_WIDTH) - 1)]
    name, share = html.escape(frame.name), 100 * frame.samples / total
    yield (f'<g><title>{name}: {share:.1f} %</title><rect x="{left:.1f}" y="{top}" width="{width:.1f}" height="{ROW - 1}" '
           f'fill="{KERNEL if frame.kernel else USER}"/><text x="{left + 2:.1f}" y="{top + 12}">{html.escape(label)}</text></g>')
    for callee in sorted(frame.callees.values(), key=lambda callee: callee.name):
        yield from boxes(callee, total, left, level + 1, bottom)
        left += WIDTH * callee.samples / total


def picture(root: Frame) -> str:
    height = root.depth() * ROW + MARGIN
    parts = "\n".join(boxes(root, root.samples, 0, 0, height))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" font-family="monospace" '
            f'font-size="11">\n<text x="4" y="16">tesk relaying frames of 64 bytes: {root.samples} samples of its processor '
            f'time</text>\n{parts}\n</svg>\n')


def main() -> int:
    if len(sys.argv) > 2 or sys.argv[1:2] in (["-h"], ["--help"]):
        print(__doc__, file=sys.stderr)
        return 2
    target = pathlib.Path(sys.argv[1]) if len(sys.argv) == 2 else ROOT / "docs/relay.svg"
    with tempfile.TemporaryDirectory() as folder:
        data = pathlib.Path(folder) / "perf.data"
        record(data)
        root = tree_of(data)
    if root.samples == 0:
        sys.exit("profile.py: no sample was taken; does this kernel count processor time for others?")
    target.write_text(picture(root), encoding="utf-8")
    print(f"{target}: {root.samples} samples")
    return 0


if __name__ == "__main__":
    sys.exit(main())
