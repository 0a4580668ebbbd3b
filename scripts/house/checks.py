"""The rules of the tree, as checks. Each check reports what is wrong, where, and how to fix it."""

from __future__ import annotations

import pathlib
import sys

import files
import page
import walls
from rooms import Tree

USAGE = """usage: python3 scripts/house [ROOT]    check the tree
       python3 scripts/house --graph   print the rooms and their arrows as Mermaid graphs
       python3 scripts/house --page    print docs/rooms.md
Exit status: 0 when the tree follows the rules, 1 when it does not, 2 for wrong arguments.
"""


def broken(tree: Tree) -> list[str]:
    found = [complaint for rule in walls.RULES + files.RULES for complaint in rule(tree)]
    # The page can only be drawn from a table that has no circle and names only rooms.
    return found or [complaint for rule in page.RULES for complaint in rule(tree)]


def main(arguments: list[str]) -> int:
    option = arguments.pop(0) if arguments and arguments[0] in ("--graph", "--page") else ""
    if len(arguments) > 1 or any(word.startswith("-") for word in arguments):
        print(USAGE, end="", file=sys.stderr)
        return 2
    try:
        tree = Tree(pathlib.Path(arguments[0] if arguments else pathlib.Path(__file__).parents[2]).resolve())
    except (OSError, ValueError) as mistake:
        print(mistake)
        return 1
    if option == "--graph":
        print("\n".join(page.graphs(tree)), end="")
    elif option == "--page":
        print(page.page(tree), end="")
    else:
        complaints = broken(tree)
        print("\n".join(complaints), end="\n" if complaints else "")
        return 1 if complaints else 0
    return 0
