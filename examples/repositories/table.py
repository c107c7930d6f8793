"""The table of rows, each printed when it is known, with a progress bar on a terminal."""

import sys
from collections.abc import Iterable
from contextlib import nullcontext
from importlib import import_module
from importlib.util import find_spec

from repositories.row import NUMBERS, Row
from shared.terminal import columns, cut, fitting, printable, width

# Fixed before the first row is known; a longer cell moves only the rest of its line.
NAME_WIDTH = 22
FORMATS = {name: f">{max(len(name), 5)}" for name in NUMBERS}
FORMATS |= {"branch": "<22", "compared_with": ""}


def print_rows(rows: Iterable[Row], total: int | None) -> None:
    """Print each row when it is known; the total, if given, is for the progress bar."""
    above_bar = nullcontext
    if sys.stderr.isatty() and find_spec("tqdm"):  # rows do not need it
        tqdm = import_module("tqdm").tqdm
        rows = tqdm(rows, total=total, unit=" repositories", miniters=1)
        above_bar = tqdm.external_write_mode
    for number, row in enumerate(rows):
        with above_bar():
            if number == 0:
                heading = {name: name.replace("_", " ") for name in FORMATS}
                print(_line("repository", *_cells(heading)))
            if "error" in row:
                line = _line(row["root"], row["error"])
            else:
                signs = {"added": f"+{row['added']}", "deleted": f"-{row['deleted']}"}
                line = _line(row["repository"], *_cells(row | signs))
            print(line, flush=True)


def _cells(row: Row) -> list[str]:
    return [f"{row[name]:{form}}" for name, form in FORMATS.items()]


def _line(name: str, *cells: str) -> str:
    """A row of the table; on a terminal it is one line, with the end of a long path."""
    name = printable(name)
    if columns():
        name = cut(name, NAME_WIDTH, start=True)
    space = " " * (NAME_WIDTH - width(name))
    return fitting("  ".join([name + space, *map(printable, cells)]).rstrip())
