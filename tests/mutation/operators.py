"""The kinds of small change that make a program wrong. Each is a generator over a source that yields
(start, end, replacement). A change that does not compile costs little and is not counted, so no kind has to avoid it.
"""

from __future__ import annotations

import re
from collections.abc import Callable, Iterator

import statements
from mutation import Mutation, make, numbered
from tokens import FUNCTION, RECORD, Source, Token

Step = tuple[int, int, str]

FLIPPED = {"true": "false", "false": "true"}
COMPARED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
CALCULATED = {"+": "-", "-": "+", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "%": "/"}
ASSIGNED = {"++": "--", "--": "++", "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=", "<<=": ">>=", ">>=": "<<="}
JOINED = {"&&": "||", "||": "&&"}
CATEGORIES = {"PKT": "CTRL", "CTRL": "ERR", "ERR": "CTRL"}
TRACE = re.compile(r"TESK_(PKT|CTRL|ERR)(_AT)?")
# Pairs of words in names. A name with one word is replaced by the name with the other word, if that exists.
TWINS = (("tx", "rx"), ("ucast", "mcast"), ("lower", "upper"), ("up", "down"), ("mgmt", "inband"), ("add", "del"),
         ("set", "clear"), ("set", "unset"), ("ltl", "cbl"), ("vlan_bmp", "shadow_vlan_bmp"), ("th", "fh"),
         ("debug", "cfg"), ("running", "startup"), ("port", "vlan"), ("name", "name2"), ("pkt", "ctrl"))


def replaced(token: Token, text: str) -> Step:
    return token.start, token.end, text


def constants(source: Source) -> Iterator[Step]:
    """A number is one more, and a number above one is zero; true is false."""
    for token in source.tokens:
        if token.kind == "number":
            digits = token.text.rstrip("uUlL")
            value, suffix = int(digits, 0), token.text[len(digits):]
            yield replaced(token, (hex(value + 1) if digits[:2] in ("0x", "0X") else str(value + 1)) + suffix)
            if value > 1:
                yield replaced(token, "0" + suffix)
        elif token.text in FLIPPED:
            yield replaced(token, FLIPPED[token.text])


def enumerators(source: Source) -> Iterator[Step]:
    """An enumerator is replaced by its neighbour, or by one more if it is the only one."""
    for token in source.tokens:
        if token.brace in (FUNCTION, RECORD) and token.text in source.neighbours:
            yield replaced(token, source.neighbours[token.text])


def twins(source: Source) -> Iterator[Step]:
    """A name is replaced by its counterpart."""
    for token in source.tokens:
        if token.kind != "name" or token.brace != FUNCTION:
            continue
        for pair in TWINS:
            for word, other in (pair, pair[::-1]):
                name = re.sub(rf"(?<![^\W_]){word}(?![^\W_])", other, token.text, count=1)
                if name != token.text and name in source.vocabulary:
                    yield replaced(token, name)


def signs(table: dict[str, str]) -> Callable[[Source], Iterator[Step]]:
    """An operator between two operands is replaced by another one."""
    def step(source: Source) -> Iterator[Step]:
        for before, token in zip(source.tokens, source.tokens[1:]):
            between = before.kind in ("name", "number", "char") or before.text in (")", "]")
            if token.text in table and (between or token.text in ("++", "--")):
                yield replaced(token, table[token.text])
    return step


def conditions(source: Source) -> Iterator[Step]:
    """A condition is negated, a negation is dropped, or a choice always takes the same side."""
    for i, token in enumerate(source.tokens):
        if token.text in ("if", "while") and source.tokens[i + 1].text == "(":
            inside = source.tokens[i + 2:source.closing(i + 1)]
            words = [one.text for one in inside]
            if words[0] != "!" and (not COMPARED.keys() & set(words) or JOINED.keys() & set(words)):
                start, end = inside[0].start, inside[-1].end
                yield start, end, f"!({source.text[start:end]})"
        elif token.text == "!":
            yield replaced(token, "")
        elif token.text == "?":
            yield replaced(token, "&& false ?")
            yield replaced(token, "|| true ?")


def texts(source: Source) -> Iterator[Step]:
    """A text has an extra character at its start, or lacks its last one."""
    for before, token in zip(source.tokens, source.tokens[1:]):
        if token.kind == "string" and before.text != "extern":
            yield token.start + 1, token.start + 1, "~"
            last = re.search(r"(\\.|[^\\%])\"$", token.text)
            if last and not re.search(r"%[-+ #0-9.]*l*[a-z]\"$", token.text):
                yield token.start + last.start(), token.end - 1, ""


def categories(source: Source) -> Iterator[Step]:
    """A trace goes to another category."""
    for token in source.tokens:
        match = TRACE.fullmatch(token.text)
        if match and token.brace == FUNCTION:
            yield replaced(token, f"TESK_{CATEGORIES[match[1]]}{match[2] or ''}")


def dropped(source: Source) -> Iterator[Step]:
    """A statement is missing."""
    for start, end in statements.removable(source):
        yield start, end, ";"


def reordered(source: Source) -> Iterator[Step]:
    """Two calls are swapped."""
    for first, second in statements.neighbours(source):
        one, other = source.text[slice(*first)], source.text[slice(*second)]
        if one != other:
            yield first[0], second[1], other + source.text[first[1]:second[0]] + one


def swapped(source: Source) -> Iterator[Step]:
    """Two arguments of a call are swapped."""
    for first, second in statements.argument_pairs(source):
        one, other = source.text[slice(*first)], source.text[slice(*second)]
        if one != other:
            yield first[0], second[1], other + source.text[first[1]:second[0]] + one


KINDS: dict[str, Callable[[Source], Iterator[Step]]] = {
    "constant": constants,
    "enumerator": enumerators,
    "twin": twins,
    "comparison": signs(COMPARED),
    "calculation": signs(CALCULATED),
    "assignment": signs(ASSIGNED),
    "logic": signs(JOINED),
    "condition": conditions,
    "text": texts,
    "category": categories,
    "dropped": dropped,
    "order": reordered,
    "arguments": swapped,
}


def mutations(source: Source) -> list[Mutation]:
    """All mutations of a file, in the order of its text."""
    return numbered([make(source.file, kind, source.text, *step)
                     for kind, steps in KINDS.items() for step in steps(source)])
