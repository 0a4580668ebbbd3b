"""Which room may include which."""

from __future__ import annotations

from collections.abc import Iterable, Iterator

from rooms import TABLE, Tree


def spelling(tree: Tree) -> Iterator[str]:
    """Includes of project headers use quotes and paths from the root; includes of system headers use angle brackets."""
    for include in tree.includes:
        if include.quoted and not include.is_project:
            yield f'{include.place}: includes "{include.name}"; write project includes from the root, system ones in <>'
        elif include.is_project and not include.quoted:
            yield f'{include.place}: includes <{include.name}>; write project includes in ""'


def walls(tree: Tree) -> Iterator[str]:
    """An include stays in its room, or enters one that the table allows."""
    for include in tree.includes:
        here = tree.room_of(include.file)
        if here is None or not include.is_project:
            continue
        there = tree.room_of(include.path)
        if there is None:
            yield f'{include.place}: includes "{include.name}", which is in no room; fix the include or {TABLE}'
        elif there != here and there.name not in here.includes:
            may = ", ".join(here.includes) or "no other room"
            yield (f'{include.place}: {here.name} may not include "{include.name}" of {there.name}, only {may}; '
                   f"move the code, or pass what it needs as an argument")


def unused_arrows(tree: Tree) -> Iterator[str]:
    """The table allows no include that no file uses. A room without headers is an exception: its declarations are
    elsewhere, so it can only be linked, and the build reads the links from the table, too."""
    with_headers = {room.name for file in tree.sources if file.endswith(".h") and (room := tree.room_of(file))}
    for room in tree.rooms.values():
        for other in room.includes:
            if other in with_headers and (room.name, other) not in tree.arrows:
                yield f"{TABLE}: {room.name} may include {other}, but no file of it does; remove {other} from its includes"


def circle(arrows: Iterable[tuple[str, str]]) -> list[str]:
    """@return rooms that include each other in a circle, the first one again at the end; empty without a circle"""
    after: dict[str, list[str]] = {}
    for here, there in arrows:
        after.setdefault(here, []).append(there)
    done: set[str] = set()

    def walk(path: list[str]) -> list[str]:
        for there in after.get(path[-1], ()):
            if there in path:
                return path[path.index(there):] + [there]
            if there not in done and (found := walk(path + [there])):
                return found
        done.add(path[-1])
        return []

    for start in after:
        if start not in done and (found := walk([start])):
            return found
    return []


def no_circle_in_the_table(tree: Tree) -> Iterator[str]:
    if found := circle((room.name, other) for room in tree.rooms.values() for other in room.includes):
        yield f"{TABLE}: the rooms may include each other in a circle, {' -> '.join(found)}; remove one arrow"


def no_circle_of_includes(tree: Tree) -> Iterator[str]:
    if found := circle(tree.arrows):
        lines = ", ".join(tree.arrows[arrow].place for arrow in zip(found, found[1:]))
        yield f"{lines}: rooms include each other in a circle, {' -> '.join(found)}; move what both need to a room below"


RULES = [spelling, walls, unused_arrows, no_circle_in_the_table, no_circle_of_includes]
