"""Where the statements of a function and the arguments of its calls begin and end."""

from __future__ import annotations

from collections.abc import Iterator

from tokens import FUNCTION, Source, Token

Span = tuple[int, int]

NO_CALL = ("if", "for", "while", "switch", "return", "sizeof", "alignof", "static_assert", "__attribute__")
JUMPS = ("break", "continue")
# Words at the start of statements that are neither expressions nor declarations.
CLAUSES = ("return", "if", "for", "while", "switch", "case", "default", "else", "do", "goto", "break", "continue",
           "using", "typedef", "static_assert", "extern", "namespace")
DECLARATORS = ("const", "static", "auto", "constexpr", "struct", "enum", "unsigned", "char", "int")


def is_declaration(statement: list[Token]) -> bool:
    words = [token.text for token in statement if token.text != "*"]
    return words[0] in DECLARATORS or (
        len(words) > 1 and statement[0].kind == "name" and words[1].replace("_", "a").isalnum() and not words[1][0].isdigit())


def plain(source: Source) -> Iterator[tuple[int, list[Token]]]:
    """Each statement that ends with its own semicolon, with the position of its first token."""
    found = source.tokens
    begin = 0
    depth = 0
    for i, token in enumerate(found):
        depth += (token.text in "([") - (token.text in ")]")
        if depth != 0:
            continue
        if token.text == ";":
            if i > begin and token.brace == FUNCTION and found[begin].brace == FUNCTION:
                yield begin, found[begin:i + 1]
            begin = i + 1
        elif token.brace == FUNCTION and (token.text == "}" or token.text == ":" and is_label(found, begin)):
            begin = i + 1
        elif token.text == "{" and (i + 1 == len(found) or found[i + 1].brace != "value"):
            begin = i + 1
        elif token.text == "}" and (i + 1 == len(found) or found[i + 1].text not in (";", ",", ")")):
            begin = i + 1


def is_label(found: list[Token], begin: int) -> bool:
    return found[begin].text in ("case", "default")


def calls(statement: list[Token]) -> bool:
    return any(one.kind == "name" and other.text == "(" for one, other in zip(statement, statement[1:]))


def span(statement: list[Token]) -> Span:
    return statement[0].start, statement[-1].end


def removable(source: Source) -> Iterator[Span]:
    """Statements without which a function still compiles: expressions and jumps."""
    for _, statement in plain(source):
        first = statement[0].text
        bare_return = first == "return" and len(statement) == 2
        if first in JUMPS or bare_return or (first not in CLAUSES and not is_declaration(statement)):
            yield span(statement)


def neighbours(source: Source) -> Iterator[tuple[Span, Span]]:
    """Pairs of consecutive calls in a block whose results are not used."""
    previous: tuple[int, list[Token]] | None = None
    for begin, statement in plain(source):
        if statement[0].text in CLAUSES or is_declaration(statement) or not calls(statement):
            previous = None
            continue
        if previous is not None and previous[0] + len(previous[1]) == begin:
            yield span(previous[1]), span(statement)
        previous = begin, statement


def argument_pairs(source: Source) -> Iterator[tuple[Span, Span]]:
    """Neighbouring arguments of every call."""
    found = source.tokens
    for i, token in enumerate(found[:-1]):
        if token.kind == "name" and found[i + 1].text == "(" and token.brace == FUNCTION and token.text not in NO_CALL:
            spans = arguments(found, i + 1, source.closing(i + 1))
            yield from zip(spans, spans[1:])


def arguments(found: list[Token], open_at: int, close_at: int) -> list[Span]:
    spans, begin, depth = [], open_at + 1, 0
    for i in range(open_at + 1, close_at + 1):
        if depth == 0 and (found[i].text == "," or i == close_at):
            if i > begin:
                spans.append((found[begin].start, found[i - 1].end))
            begin = i + 1
        depth += (found[i].text in "([{") - (found[i].text in ")]}")
    return spans
