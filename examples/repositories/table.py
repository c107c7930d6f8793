"""The table of rows, printed as they come, with a progress bar on a terminal."""

import sys
from collections.abc import Iterable
from contextlib import nullcontext
from importlib import import_module
from importlib.util import find_spec

from repositories.row import NUMBERS, Row
from shared.terminal import columns, cut, cut_start, printable, width

# Fixed before the first row is known: a longer cell moves the rest of its own line only.
NAME_WIDTH = 22
FORMATS = {name: f">{max(len(name), 5)}" for name in NUMBERS} | {
    "branch": "<22",
    "compared_with": "",
}


def print_rows(rows: Iterable[Row], total: int | None) -> None:
    """Print each row when it is there, out of so many, if that is known."""
    bar = None
    if sys.stderr.isatty() and find_spec("tqdm"):  # rows do not need it
        bar = import_module("tqdm").tqdm(total=total, unit=" repositories")
    with nullcontext() if bar is None else bar:
        for number, row in enumerate(rows):
            with nullcontext() if bar is None else bar.external_write_mode():
                if number == 0:
                    print(
                        _line(
                            "repository",
                            *_cells({name: name.replace("_", " ") for name in FORMATS}),
                        )
                    )
                if "error" in row:
                    print(_line(row["root"], row["error"]), flush=True)
                else:
                    signs = {"added": f"+{row['added']}", "deleted": f"-{row['deleted']}"}
                    print(_line(row["repository"], *_cells(row | signs)), flush=True)
            if bar is not None:
                bar.update()


def _cells(row: Row) -> list[str]:
    return [f"{row[name]:{form}}" for name, form in FORMATS.items()]


def _line(name: str, *cells: str) -> str:
    """A row of the table; on a terminal it is one line, with the end of a long path."""
    most = columns()
    name = cut_start(printable(name), NAME_WIDTH) if most else printable(name)
    space = " " * (NAME_WIDTH - width(name))
    line = "  ".join([name + space, *map(printable, cells)]).rstrip()
    return cut(line, most) if most else line
