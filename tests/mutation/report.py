"""The results: a table by kind and by file, the survivors, and the same for programs."""

from __future__ import annotations

import collections
import json
import pathlib

import explanations
from explanations import Explanation
from mutation import Mutation
from trial import CAUGHT, INVALID, SAME, SURVIVED

EXPLAINED = "explained"
COLUMNS = ("made", INVALID, SAME, "counted", CAUGHT, EXPLAINED, SURVIVED)


class Outcome:
    """The mutations that were tried, with the outcome of each."""

    def __init__(self, mutations: list[Mutation], results: dict[str, dict], known: list[Explanation]):
        self.results = results
        self.mutations = [mutation for mutation in mutations if mutation.key in results]
        explained = {mutation.key: explanations.of(mutation, known) for mutation in self.mutations}
        self.explanation = {key: one for key, one in explained.items() if one is not None}

    def of(self, mutation: Mutation) -> str:
        outcome = self.results[mutation.key]["outcome"]
        return EXPLAINED if outcome == SURVIVED and mutation.key in self.explanation else outcome

    def that(self, outcome: str) -> list[Mutation]:
        return [mutation for mutation in self.mutations if self.of(mutation) == outcome]

    def explained_in_vain(self) -> list[Explanation]:
        """Explanations whose mutations were tried and all caught."""
        needed = [self.explanation[mutation.key] for mutation in self.that(EXPLAINED)]
        found = [self.explanation[mutation.key] for mutation in self.that(CAUGHT) if mutation.key in self.explanation]
        return [one for one in dict.fromkeys(found) if one not in needed]

    def counts(self, mutations: list[Mutation]) -> dict[str, int]:
        tally = collections.Counter(self.of(mutation) for mutation in mutations)
        counted = tally[CAUGHT] + tally[EXPLAINED] + tally[SURVIVED]
        return {column: tally[column] for column in COLUMNS} | {"made": len(mutations), "counted": counted}

    def by(self, attribute: str) -> dict[str, dict[str, int]]:
        groups: dict[str, list[Mutation]] = {}
        for mutation in self.mutations:
            groups.setdefault(getattr(mutation, attribute), []).append(mutation)
        return {name: self.counts(group) for name, group in sorted(groups.items())}


def share(counts: dict[str, int]) -> float:
    """The percentage of the counted mutations that is caught."""
    return 100.0 * counts[CAUGHT] / counts["counted"] if counts["counted"] else 100.0


def table(title: str, rows: dict[str, dict[str, int]], total: dict[str, int]) -> str:
    header = [title, *COLUMNS, "caught %"]
    body = [[name, *(str(counts[column]) for column in COLUMNS), f"{share(counts):.1f}"]
            for name, counts in [*rows.items(), ("total", total)]]
    widths = [max(map(len, column)) for column in zip(header, *body)]
    return "\n".join("  ".join([line[0].ljust(widths[0]), *map(str.rjust, line[1:], widths[1:])]) for line in [header, *body])


def shown(mutation: Mutation) -> str:
    return f"{mutation.file}:{mutation.line}: {mutation.kind}\n    - {mutation.original}\n    + {mutation.changed}"


def text(outcome: Outcome, stale: list[Explanation], seconds: float) -> str:
    total = outcome.counts(outcome.mutations)
    parts = [table("kind", outcome.by("kind"), total), table("file", outcome.by("file"), total)]
    if outcome.that(SURVIVED):
        parts.append("Survived:\n" + "\n".join(map(shown, outcome.that(SURVIVED))))
    for title, known in (("Explained, yet caught", outcome.explained_in_vain()), ("Explained, yet no mutation", stale)):
        if known:
            parts.append(f"{title}:\n" + "\n".join(f"{one.file}:\n    - {one.original}\n    + {one.changed}" for one in known))
    parts.append(f"{total[CAUGHT]} of {total['counted']} mutations caught ({share(total):.1f} %), {total[EXPLAINED]} explained,"
                 f" {total[SURVIVED]} survived; {seconds / 60:.1f} minutes")
    return "\n\n".join(parts)


def record(outcome: Outcome, stale: list[Explanation], settings: dict, seconds: float) -> dict:
    total = outcome.counts(outcome.mutations)
    return {
        "version": 1, "settings": settings, "seconds": round(seconds, 1), "total": total, "share": round(share(total), 2),
        "by_kind": outcome.by("kind"), "by_file": outcome.by("file"), "stale": [vars(one) for one in stale],
        "mutations": [{"file": one.file, "line": one.line, "kind": one.kind, "original": one.original,
                       "changed": one.changed, "outcome": outcome.of(one), "by": outcome.results[one.key]["by"],
                       "because": because(outcome, one)} for one in outcome.mutations],
    }


def because(outcome: Outcome, mutation: Mutation) -> str:
    known = outcome.explanation.get(mutation.key)
    return known.because if known is not None and outcome.of(mutation) == EXPLAINED else ""


def write(path: pathlib.Path, value: dict) -> None:
    path.write_text(json.dumps(value, indent=1) + "\n", encoding="utf-8")
