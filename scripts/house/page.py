"""Draws docs/rooms.md from the table: the rooms and the arrows between them."""

from __future__ import annotations

from collections.abc import Iterator

from rooms import TABLE, Room, Tree

PAGE = "docs/rooms.md"
RENEW = f"python3 scripts/house --page >{PAGE}"
PRODUCT = ("include", "tesk", "host")


def reduced(rooms: dict[str, Room]) -> list[tuple[str, str]]:
    """The arrows of a table without circles, without those that a longer path replaces."""
    def reaches(start: str, end: str) -> bool:
        return start == end or any(reaches(other, end) for other in rooms[start].includes)

    return [(room.name, other) for room in rooms.values() for other in room.includes
            if not any(reaches(between, other) for between in room.includes if between != other)]


def mermaid(arrows: list[tuple[str, str]], rooms: list[str]) -> str:
    """A drawing of `rooms` and of the rooms that they point to."""
    def node(name: str) -> str:
        return name.replace("/", "_")

    drawn = dict.fromkeys(rooms + [there for _, there in arrows])
    lines = [f'  {node(name)}["{name}"]' for name in drawn]
    return "\n".join(["graph TD", *lines, *(f"  {node(here)} --> {node(there)}" for here, there in arrows)]) + "\n"


def graphs(tree: Tree) -> tuple[str, str]:
    """The product, and the code that includes it: two readable drawings instead of one unreadable one."""
    def is_product(name: str) -> bool:
        return name.split("/")[0] in PRODUCT

    arrows, drawings = reduced(tree.rooms), []
    for product in (True, False):
        chosen = [arrow for arrow in arrows if is_product(arrow[0]) == product]
        drawings.append(mermaid(chosen, [name for name in tree.rooms if is_product(name) == product and
                                         (product or tree.rooms[name].includes)]))
    return drawings[0], drawings[1]


def page(tree: Tree) -> str:
    product, others = graphs(tree)
    rows = "\n".join(f"| [`{room.name}/`](../{room.name}) | {room.purpose} | "
                     f"{', '.join(f'`{other}`' for other in room.includes)} |" for room in tree.rooms.values())
    return f"""# Rooms

Made from `{TABLE}` by `{RENEW}`; change the table, not this page.
The [glossary](glossary.md) explains the abbreviations.

A C++ file belongs to the room with the longest folder name that contains it. It may include its own room and the rooms
that the table names. `./test house` fails on every other include, on a circle, and on an entry that nobody uses.

| Room | What lives there | May include |
|---|---|---|
{rows}

## The product

An arrow points from a room to one that it may include. Arrows that follow from others are left out.

```mermaid
{product}```

## Tests, measurements and fuzz targets

```mermaid
{others}```
"""


def page_is_current(tree: Tree) -> Iterator[str]:
    path = tree.root / PAGE
    if not path.is_file() or path.read_text(encoding="utf-8") != page(tree):
        yield f"{PAGE}: does not match {TABLE}; run {RENEW}"


RULES = [page_is_current]
