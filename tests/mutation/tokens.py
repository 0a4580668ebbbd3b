"""C++ source as tokens: enough to find the places that a mutation may change, and no more.

Comments, preprocessor directives, attributes and static assertions are no tokens; the body of a macro is. Each token
knows the kind of its innermost brace, because the same words mean different things in a function, a record and an
initialiser.
"""

from __future__ import annotations

import dataclasses
import functools
import re

TOKEN = re.compile(
    r"(?P<blank>\s+|//[^\n]*|/\*.*?\*/|\\\n)"
    r'|(?P<string>"(?:\\.|[^"\\\n])*")'
    r"|(?P<char>'(?:\\.|[^'\\\n])*')"
    r"|(?P<number>(?:0[xX][0-9a-fA-F]+|\d+)[uUlL]*)"
    r"|(?P<name>[A-Za-z_]\w*)"
    r"|(?P<sign>\.\.\.|<<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=|::|.)", re.S)
DIRECTIVE = re.compile(r"^[ \t]*#[ \t]*(?:define[ \t]+\w+(?:\([^)\n]*\))?|[^\n]*)", re.M)
ENUMERATION = re.compile(r"\benum\b[^{;]*\{([^}]*)\}")
UNCHANGED = re.compile(r"\b(?:static_assert|__attribute__)\((?:[^()]|\((?:[^()]|\([^()]*\))*\))*\)")
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.S)

FUNCTION, RECORD, ENUM, SPACE, VALUE = "function", "record", "enum", "space", "value"


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str  # string, char, number, name or sign
    text: str
    start: int
    brace: str  # what the innermost brace around it contains

    @property
    def end(self) -> int:
        return self.start + len(self.text)


@dataclasses.dataclass(frozen=True)
class Source:
    """One file, and the names of the whole program."""

    file: str
    text: str
    neighbours: dict[str, str] = dataclasses.field(default_factory=dict)  # of an enumerator
    vocabulary: frozenset[str] = frozenset()

    @functools.cached_property
    def tokens(self) -> list[Token]:
        return tokens(self.text)

    def closing(self, position: int) -> int:
        """The position at which the bracket that opens at a position is closed."""
        depth = 0
        for i in range(position, len(self.tokens)):
            depth += (self.tokens[i].text in "([{") - (self.tokens[i].text in ")]}")
            if depth == 0:
                return i
        raise ValueError(f"{self.file}: a bracket is not closed")


def blanked(text: str) -> str:
    """The text with everything blanked that is no token; the rest keeps its offset."""
    for pattern in (DIRECTIVE, UNCHANGED):
        text = pattern.sub(lambda match: " " * len(match.group()), text)
    return text


def opened(before: list[Token], outer: str) -> str:
    """What a brace after these tokens contains."""
    head = []
    for token in reversed(before):
        if token.text in (";", "{", "}"):
            break
        head.append(token.text)
    if not head:
        return outer
    if head[0] in (")", "else", "do") or outer == FUNCTION and head[0] == ":":
        return FUNCTION
    if "enum" in head:
        return ENUM
    if head[-1] in ("namespace", "extern"):
        return SPACE
    return RECORD if "struct" in head and "=" not in head else VALUE


def tokens(text: str) -> list[Token]:
    found: list[Token] = []
    braces = [SPACE]
    for match in TOKEN.finditer(blanked(text)):
        if match.lastgroup == "blank":
            continue
        if match.group() == "}" and len(braces) > 1:
            braces.pop()
        found.append(Token(match.lastgroup, match.group(), match.start(), braces[-1]))
        if match.group() == "{":
            braces.append(opened(found[:-1], braces[-1]))
    return found


def enumerator_neighbours(text: str) -> dict[str, str]:
    """Each enumerator with the next one of its enumeration; an only one with itself plus one."""
    result = {}
    for match in ENUMERATION.finditer(COMMENT.sub("", text)):
        names = [part.split("=")[0].strip() for part in match[1].split(",")]
        names = [name for name in names if name]
        for i, name in enumerate(names):
            result[name] = f"({name} + 1)" if len(names) == 1 else names[(i + 1) % len(names)]
    return result


def names(text: str) -> set[str]:
    return set(re.findall(r"[A-Za-z_]\w*", COMMENT.sub("", text)))
