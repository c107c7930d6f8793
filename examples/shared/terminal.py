"""Text for a terminal: escaped, measured, cut and aligned."""

import os
import sys
import unicodedata
from collections.abc import Iterator, Sequence


def printable(text: str) -> str:
    """Text in which no character breaks the line or drives the terminal."""
    if text.isprintable():
        return text
    return "".join(
        char if char.isprintable() else char.encode("unicode_escape").decode() for char in text
    )


def columns() -> int:
    """How wide the terminal is that the output goes to; 0 for a pipe or a file."""
    return os.get_terminal_size(sys.stdout.fileno()).columns if sys.stdout.isatty() else 0


def width(text: str) -> int:
    """How many columns of a terminal a text takes."""
    if text.isascii():
        return len(text)
    return sum(
        0 if unicodedata.combining(char) else 1 + (unicodedata.east_asian_width(char) in "FW")
        for char in text
    )


def cut(text: str, most: int, *, start: bool = False) -> str:
    """Text of at most so many columns, with an ellipsis in place of its end, or of its start."""
    if width(text) <= most:
        return text
    while width(text) >= most:
        text = text[1:] if start else text[:-1]
    ellipsis = "\N{HORIZONTAL ELLIPSIS}"
    return ellipsis + text if start else text + ellipsis


def fitting(line: str) -> str:
    """A line for the output: on a terminal, only as much of it as fits."""
    most = columns()
    return cut(line, most) if most else line


def aligned(rows: Sequence[Sequence[str]], sides: str) -> Iterator[str]:
    """Pads each column left (`<`) or right (`>`); further columns are not padded."""
    columns = list(zip(*rows, strict=True))[: len(sides)]
    widths = [max(map(width, column)) for column in columns]
    for row in rows:
        cells = []
        for cell, side, wide in zip(row, sides, widths, strict=False):
            space = " " * (wide - width(cell))
            cells.append(cell + space if side == "<" else space + cell)
        yield "  ".join([*cells, *row[len(sides) :]]).rstrip()
