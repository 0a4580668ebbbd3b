"""What came out: a table by kind and by file, the survivors, and the same for programs."""

from __future__ import annotations

import collections
import json
import pathlib

from explanations import Explanation
from mutation import Mutation
from trial import CAUGHT, INVALID, SAME, SURVIVED

EXPLAINED = "explained"
COLUMNS = ("made", INVALID, SAME, "counted", CAUGHT, EXPLAINED, SURVIVED)


class Outcome:
    """The mutations that were tried, with what became of each."""

    def __init__(self, mutations: list[Mutation], results: dict[str, dict], reasons: dict[tuple[str, str, str], str]):
        self.reasons = reasons
        self.results = results
        self.mutations = [mutation for mutation in mutations if mutation.key in results]

    def of(self, mutation: Mutation) -> str:
        outcome = self.results[mutation.key]["outcome"]
        return EXPLAINED if outcome == SURVIVED and mutation.text in self.reasons else outcome

    def that(self, outcome: str) -> list[Mutation]:
        return [mutation for mutation in self.mutations if self.of(mutation) == outcome]

    def explained_in_vain(self) -> list[Mutation]:
        """Mutations that are explained as equivalent and caught all the same."""
        survivors = {one.text for one in self.that(EXPLAINED)}
        return [one for one in self.that(CAUGHT) if one.text in self.reasons and one.text not in survivors]

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
    """What is caught of what counts, in per cent."""
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
    for title, mutations in (("Survived", outcome.that(SURVIVED)), ("Explained, yet caught", outcome.explained_in_vain())):
        if mutations:
            parts.append(f"{title}:\n" + "\n".join(shown(mutation) for mutation in mutations))
    if stale:
        parts.append("Explanations without a mutation:\n" + "\n".join(f"{one.file}: {one.original}" for one in stale))
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
                       "because": outcome.reasons.get(one.text, "")} for one in outcome.mutations],
    }


def write(path: pathlib.Path, value: dict) -> None:
    path.write_text(json.dumps(value, indent=1) + "\n", encoding="utf-8")
