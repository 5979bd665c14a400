#!/usr/bin/env python3
"""Holds docs/one-disk.md against the sources: every file is there and defines the functions named after it."""
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
PAGE = TOP / "docs" / "one-disk.md"


def defines(source, function):
    # A definition begins a line, within a class or not, and goes on to a brace before any semicolon.
    name = re.escape(function)
    return re.search(rf"^[\w:<>,&* ]*[ &*]{name}\([^;{{]*\{{", source, re.M)


def faults():
    named = 0
    for number, line in enumerate(PAGE.read_text().splitlines(), 1):
        source = None
        for word in re.findall(r"`([^`]+)`", line):
            path = TOP / word
            if "/" in word and not word.startswith("~"):
                named += 1
                source = path.read_text() if path.is_file() else None
                if source is None:
                    yield f"{PAGE.name}:{number}: there is no {word}"
            elif source is not None:
                named += 1
                if not defines(source, word):
                    yield f"{PAGE.name}:{number}: {word} is not defined there"
    if named < 40:
        yield f"{PAGE.name}: only {named} names were found; is the page still written as this reads it?"


def main():
    found = list(faults())
    print("\n".join(found) or f"{PAGE.name} names what is there")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
