#!/usr/bin/env python3
"""List the formats of all traces of the daemon, for a test that tries each of them.

usage: formats.py OUTPUT SOURCE…

Writes one line FORMAT("format", argument, …) for each different format. An argument is text(), number() or
unsigned_number(), which the test defines."""
import pathlib
import re
import sys

TRACE = re.compile(r'\bTESK_(?:PKT|CTRL|ERR)(?P<place>_AT)?\(\s*(?(place)[^",]+,\s*)(?P<format>"(?:[^"\\]|\\.)*"(?:\s*"(?:[^"\\]|\\.)*")*)')
CONVERSION = re.compile(r'%[#0-9]*([a-z%])')
ARGUMENTS = {'s': 'text()', 'd': 'number()', 'i': 'number()', 'u': 'unsigned_number()', 'x': 'unsigned_number()'}


def formats(source):
    for trace in TRACE.finditer(source):
        yield ' '.join(trace['format'].split('\n')).strip()


def line(text):
    arguments = [ARGUMENTS[letter] for letter in CONVERSION.findall(text)]
    return 'FORMAT(' + ', '.join([text] + arguments) + ')\n'


def main(output, *sources):
    found = {text for source in sources for text in formats(pathlib.Path(source).read_text())}
    calls = sum(len(re.findall(r'\bTESK_(?:PKT|CTRL|ERR)(?:_AT)?\(', pathlib.Path(source).read_text())) for source in sources)
    listed = sum(len(list(formats(pathlib.Path(source).read_text()))) for source in sources)
    if calls != listed:
        sys.exit(f'formats.py: {calls} traces, but only {listed} whose format is a literal')
    pathlib.Path(output).write_text(''.join(line(text) for text in sorted(found)))


if __name__ == '__main__':
    main(*sys.argv[1:])
