"""The command line of tests/mutate."""

from __future__ import annotations

import argparse
import concurrent.futures
import fcntl
import os
import pathlib
import sys
import time

import explanations
import report
from candidates import candidates, choose
from journal import Journal
from mutation import Mutation
from progress import Progress
from trial import SURVIVED, Bench
from workshop import PLAIN, SANITIZED, Broken, Workshop, copy_sources, fingerprint

EXPLANATIONS = "tests/mutation/equivalent.toml"

DESCRIPTION = """Change the daemon one small step at a time, build it, run the unit tests, and list the changes that the tests do
not detect. A change is a different constant, comparison or text, a dropped line, two swapped calls or arguments …;
`--list` shows them. The checkout is only read: all work is done in a copy below the output folder."""

EPILOG = """outcomes of a mutation:
  caught            a unit test failed, the program crashed or did not end, or a sanitizer reported an error
  explained         no test can distinguish it from the original; tests/mutation/equivalent.toml gives the reason
  survived          nothing detected it: a test is missing
  same code         the optimised object files equal the original's byte for byte; not counted
  does not compile  not counted

files, in the output folder:
  result.json       every mutation with its outcome, and the totals
  journal.jsonl     what has been tried; after an interruption the same command continues from there,
                    as long as sources and tests are the same

exit status: 0 all mutations were caught or explained, 1 some survived or an explanation is out of date, 2 the command
line is wrong, or the unmutated program cannot be built or fails its tests, 130 interrupted

examples:
  tests/mutate                                     600 mutations, spread over all files
  tests/mutate --file tesk/tesk_qbus.cpp --count all
  tests/mutate --survivors                         after adding a test: only the earlier survivors
"""


class Unusable(Exception):
    """The command line asks for something that does not exist."""


def count(text: str) -> int:
    if text == "all":
        return sys.maxsize
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"'{text}' is not a number of mutations; a number above 0 or 'all' is accepted")
    return int(text)


def parser() -> argparse.ArgumentParser:
    root = pathlib.Path(__file__).resolve().parents[2]
    made = argparse.ArgumentParser(prog="mutate", description=DESCRIPTION, epilog=EPILOG,
                                   formatter_class=argparse.RawDescriptionHelpFormatter)
    made.add_argument("--seed", type=int, default=1, help="choose by this seed; the same seed, the same choice (1)")
    made.add_argument("--count", type=count, default=600, help="make this many mutations, or 'all' (600)")
    made.add_argument("--file", action="append", default=[], help="mutate only this file, as tesk/tesk_x.cpp; repeatable")
    made.add_argument("--kind", action="append", default=[], help="make only this kind of mutation; repeatable")
    made.add_argument("--list", action="store_true", help="show the mutations, run nothing")
    made.add_argument("--jobs", type=count, default=2, help="try this many mutants at the same time (2)")
    made.add_argument("--keep", action="store_true", help="keep the results of an earlier run, except survivors, even if"
                      " sources or tests have changed since")
    made.add_argument("--survivors", action="store_true", help="do the same as --keep, and make only the mutations of that run")
    made.add_argument("--plain", action="store_true", help="do not run survivors under the sanitizers: faster, but"
                      " more survive")
    made.add_argument("--fresh", action="store_true", help="forget what an earlier run tried")
    made.add_argument("--root", type=pathlib.Path, default=root, help="use this checkout (the one of this command)")
    made.add_argument("--output", type=pathlib.Path, help="use this output folder (build/mutation in the checkout)")
    made.add_argument("--json", action="store_true", help="print result.json instead of the tables")
    return made


def chosen(options: argparse.Namespace, every: list[Mutation]) -> list[Mutation]:
    for name, attribute in ((options.file, "file"), (options.kind, "kind")):
        known = sorted({getattr(mutation, attribute) for mutation in every})
        for value in name:
            if value not in known:
                raise Unusable(f"there are no mutations of {attribute} '{value}'; there are of {', '.join(known)}")
        every = [mutation for mutation in every if not name or getattr(mutation, attribute) in name]
    return choose(every, options.count, options.seed)


def only_one(folder: pathlib.Path) -> None:
    """Locks the output folder until the process ends."""
    lock = os.open(folder / "lock", os.O_CREAT | os.O_RDWR)  # stays open
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise Unusable(f"another run uses {folder}; wait for it, or give another folder with --output") from None


def run(bench: Bench, mutations: list[Mutation], journal: Journal, jobs: int) -> None:
    waiting = [mutation for mutation in mutations if mutation.key not in journal.results]
    waiting.sort(key=lambda mutation: mutation.file.endswith(".h"))  # headers take the longest time
    progress = Progress(len(waiting))
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        trials = [pool.submit(bench.try_out, mutation) for mutation in waiting]
        try:
            for trial in concurrent.futures.as_completed(trials):
                journal.add(trial.result())
                progress.add(trial.result())
        except BaseException:
            pool.shutdown(wait=False, cancel_futures=True)
            raise


def measure(options: argparse.Namespace, every: list[Mutation], mutations: list[Mutation],
            explained: list[explanations.Explanation]) -> int:
    started = time.monotonic()
    folder = (options.output or options.root / "build" / "mutation").resolve()
    folder.mkdir(parents=True, exist_ok=True)
    only_one(folder)
    if options.fresh:
        (folder / "journal.jsonl").unlink(missing_ok=True)
    copy_sources(options.root, folder / "copy")
    bench = Bench([Workshop(folder, flavour) for flavour in ([PLAIN] if options.plain else [PLAIN, SANITIZED])], folder)
    bench.ready(bench.workshops[0], options.jobs)
    journal = Journal(folder / "journal.jsonl", fingerprint(options.root), options.keep or options.survivors)
    if options.survivors:
        mutations = [one for one in every if one.key in journal.known]
    run(bench, mutations, journal, options.jobs)
    outcome = report.Outcome(mutations, journal.results, explained)
    stale = explanations.stale(explained, every)
    seconds = time.monotonic() - started
    settings = {"seed": options.seed, "count": len(mutations), "files": options.file, "kinds": options.kind}
    result = report.record(outcome, stale, settings, seconds)
    report.write(folder / "result.json", result)
    print((folder / "result.json").read_text(encoding="utf-8") if options.json else report.text(outcome, stale, seconds))
    return 1 if outcome.that(SURVIVED) or stale or outcome.explained_in_vain() else 0


def main(words: list[str] | None = None) -> int:
    options = parser().parse_args(words)
    options.root = options.root.resolve()
    try:
        every = candidates(options.root)
        mutations = chosen(options, every)
        explained = explanations.read(options.root / EXPLANATIONS)
        if not options.list:
            return measure(options, every, mutations, explained)
        stale = explanations.stale(explained, every)
        print("\n".join(map(report.shown, mutations)) + f"\n{len(mutations)} of {len(every)} mutations")
        for one in stale:
            print(f"explanation without a mutation: {one.file}: {one.original}")
        return 1 if stale else 0
    except (Unusable, Broken, explanations.Malformed) as error:
        print(f"mutate: {error}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        print("\nmutate: interrupted; the same command continues from here", file=sys.stderr)
        return 130
