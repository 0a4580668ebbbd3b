"""Write the figures of the last bench/run into docs/performance.md, between its two markers.

usage: document.py

Reads build/bench/relay.json, micro.json, addresses.json and chassis.json and the stored instruction counts; a part that
has not been run is an error. The text around the tables stays as it is: read it again, and correct what no longer holds.
"""

from __future__ import annotations

import json
import pathlib
import statistics
import sys
from collections.abc import Iterator

ROOT = pathlib.Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs/performance.md"
BEGIN, END = "<!-- figures: bench/document.py -->\n", "<!-- end of figures -->\n"


def number(value: float) -> str:
    return f"{value:.2f}" if value < 10 else f"{value:.1f}" if value < 100 else f"{value:.0f}"


def load(part: str) -> dict:
    file = ROOT / f"build/bench/{part}.json"
    if not file.exists():
        sys.exit(f"document.py: {file.relative_to(ROOT)} is not there; run bench/run {part} first")
    return json.loads(file.read_text(encoding="utf-8"))


def verdict(limit: dict) -> str:
    against = f" to {limit['reference']}" if limit["reference"] else ""
    if limit["value"] is None:
        return f"{limit['subject']}{against}: not measured (limit {number(limit['limit'])})"
    met = "met" if limit["met"] else "**missed**"
    return f"{limit['subject']}{against} {number(limit['value'])} (limit {number(limit['limit'])}), {met}"


def relay() -> Iterator[str]:
    report = load("relay")
    yield "### Relay and daemon\n"
    yield f"{report['conditions']}.\n"
    yield "| figure | contender | median | minimum | maximum | limits |"
    yield "|---|---|---:|---:|---:|---|"
    for figure in report["figures"]:
        limits = [verdict(limit) for limit in figure["limits"]]
        for row, series in enumerate(figure["series"]):
            name = f"{figure['name']}, {figure['unit']}" if row == 0 else ""
            values = ("not measured", "", "") if "not_measured" in series else \
                [number(series[key]) for key in ("median", "minimum", "maximum")]
            yield f"| {name} | {series['contender']} | {' | '.join(values)} | {'<br>'.join(limits) if row == 0 else ''} |"


def micro() -> Iterator[str]:
    yield "\n### Single operations\n"
    yield "| operation | CPU time |\n|---|---:|"
    for run in load("micro")["benchmarks"]:
        if run.get("run_type") == "iteration":
            each = f", {1e9 / run['items_per_second']:.0f} ns an address" if "items_per_second" in run else ""
            yield f"| {run['name']} | {number(run['cpu_time'])} {run['time_unit']}{each} |"


def addresses() -> Iterator[str]:
    figures = load("addresses")
    yield "\n### Finding and learning an address\n"
    yield "ns, and the ratio to 20 addresses (learning: of the last tenth to the first).\n"
    yield f"| pattern | figure | {' | '.join(str(count) for count in figures['counts'])} | limits |"
    yield f"|---|---|{'---:|' * len(figures['counts'])}---|"
    for line in figures["lines"]:
        cells = [f"{ns:.1f}, {ratio:.2f}" for ns, ratio in zip(line["ns"], line["ratios"])]
        yield f"| {line['pattern']} | {line['figure']} | {' | '.join(cells)} | {'met' if line['met'] else '**missed**'} |"


def chassis() -> Iterator[str]:
    figures = load("chassis")
    yield f"\n### A complete chassis, on {figures['processors']} processors\n"
    yield "| | measured | bound | chassis, % of a core | tesk, % of a core |\n|---|---:|---:|---:|---:|"
    for direction, results in figures["streams"].items():
        rate = statistics.median(result["mbit_per_second"] for result in results)
        spent = [statistics.median(result["processor_percent"][name] for result in results) for name in ("chassis", "tesk")]
        yield f"| TCP {direction}, Mbit/s | {rate:.0f} | at least 300 | {spent[0]:.0f} | {spent[1]:.0f} |"
    pings = figures["round_trip"]
    yield (f"| ping AMM to blade, ms: minimum, average, maximum | {pings['minimum_ms']:.3f}, {pings['average_ms']:.3f}, "
           f"{pings['maximum_ms']:.3f} | | | |")
    rest = figures["idle_percent"]
    yield f"| at rest | | at most 1 % each | {rest['chassis']:.2f} | {rest['tesk']:.2f} |"


def instructions() -> Iterator[str]:
    yield "\n### Instructions of a frame on PowerPC\n"
    yield "| frame | instructions |\n|---|---:|"
    stored = json.loads((ROOT / "bench/instructions/powerpc.json").read_text(encoding="utf-8"))
    for kind, count in stored.items():
        yield f"| {kind} | {count:.0f} |"


def main() -> int:
    if len(sys.argv) > 1:
        print(__doc__, file=sys.stderr)
        return 2
    page = PAGE.read_text(encoding="utf-8")
    before, _, rest = page.partition(BEGIN)
    _, _, after = rest.partition(END)
    tables = "\n".join([*relay(), *micro(), *addresses(), *chassis(), *instructions()])
    PAGE.write_text(f"{before}{BEGIN}\n{tables}\n\n{END}{after}", encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
