"""Every mutation of the daemon, and the choice among them.

The choice depends on a number that is computed from the text of each mutation and the seed. So it is the same on every
machine, and a change elsewhere in the program does not affect it.
"""

from __future__ import annotations

import hashlib
import pathlib

import tokens
from mutation import Mutation
from operators import mutations

FOLDERS = ("tesk",)
HEADERS_OF_ITS_OWN = ("include/opal/kestrix_th_fh_hdr.h",)  # frame headers: code that becomes part of the daemon
AT_LEAST = 5  # mutations of each file are chosen first


def sources(root: pathlib.Path) -> list[tokens.Source]:
    files = sorted(path for folder in FOLDERS for path in (root / folder).rglob("*") if path.suffix in (".h", ".cpp"))
    files += [root / name for name in HEADERS_OF_ITS_OWN if (root / name).exists()]
    texts = {path: path.read_text(encoding="utf-8") for path in files}
    shared = [path.read_text(encoding="utf-8") for path in sorted((root / "include").rglob("*.h"))]
    everything = "\n".join([*texts.values(), *shared])
    neighbours = tokens.enumerator_neighbours(everything)
    vocabulary = frozenset(tokens.names(everything))
    return [tokens.Source(str(path.relative_to(root)), text, neighbours, vocabulary) for path, text in texts.items()]


def candidates(root: pathlib.Path) -> list[Mutation]:
    return [mutation for source in sources(root) for mutation in mutations(source)]


def rank(mutation: Mutation, seed: int) -> bytes:
    return hashlib.sha256(f"{seed} {mutation.key}".encode()).digest()


def spread(mutations_of_file: list[Mutation], seed: int) -> list[Mutation]:
    """A file's mutations in the order of choice: one of each kind, then the next of each kind …"""
    taken: dict[str, int] = {}
    turns = []
    for mutation in sorted(mutations_of_file, key=lambda one: rank(one, seed)):
        turn = taken.get(mutation.kind, 0)
        taken[mutation.kind] = turn + 1
        turns.append((turn, rank(mutation, seed), mutation))
    return [mutation for _, _, mutation in sorted(turns, key=lambda entry: entry[:2])]


def choose(all_of_them: list[Mutation], count: int, seed: int) -> list[Mutation]:
    """The requested number of mutations: a few of every file first, then of each file in proportion to its size."""
    files: dict[str, list[Mutation]] = {}
    for mutation in all_of_them:
        files.setdefault(mutation.file, []).append(mutation)
    turns = []
    for mutations_of_file in files.values():
        for position, mutation in enumerate(spread(mutations_of_file, seed)):
            turns.append((position >= AT_LEAST, position / len(mutations_of_file), rank(mutation, seed), mutation))
    chosen = [mutation for *_, mutation in sorted(turns, key=lambda turn: turn[:3])[:count]]
    return sorted(chosen, key=lambda mutation: (mutation.file, mutation.start, mutation.end))
