"""The table of rows, printed as they come, with a progress bar where somebody watches."""

import sys
from collections.abc import Iterator, Sequence
from contextlib import contextmanager, nullcontext
from importlib import import_module
from importlib.util import find_spec
from typing import Any

NUMBERS = ("ahead", "behind", "files", "added", "deleted", "commits", "authors")
NAMES = ("branch", "compared_with", "repository")
# Settled ahead of the first row: a longer cell moves the rest of its own line alone.
WIDTHS = (*[f">{max(len(name), 6)}" for name in NUMBERS], "<24", "<13", "")


class RowTable:
    """Prints rows, each when it is there."""

    def __init__(self, bar: Any = None) -> None:
        self._bar = bar
        self._headed = False

    def add(self, row: dict[str, Any]) -> None:
        """Print a row: the numbers, or why there are none."""
        if not self._headed:
            self._print([name.replace("_", " ") for name in (*NUMBERS, *NAMES)])
            self._headed = True
        if "error" in row:
            self._print([*"-" * (len(WIDTHS) - 1), f"{row['root']}: {row['error']}"])
        else:
            signed = row | {"added": f"+{row['added']}", "deleted": f"-{row['deleted']}"}
            self._print([str(signed[name]) for name in (*NUMBERS, *NAMES)])
        if self._bar is not None:
            self._bar.update()

    def _print(self, cells: Sequence[str]) -> None:
        columns = zip(cells, WIDTHS, strict=True)
        line = "  ".join(f"{_printable(cell):{width}}" for cell, width in columns)
        with self._bar.external_write_mode() if self._bar is not None else nullcontext():
            print(line.rstrip(), flush=True)


@contextmanager
def row_table(total: int | None) -> Iterator[RowTable]:
    """A table of so many rows, if that is known, with a progress bar on a terminal."""
    if not (sys.stderr.isatty() and find_spec("tqdm")):  # rows do not need the bar
        yield RowTable()
        return
    with import_module("tqdm").tqdm(total=total, unit=" repositories") as bar:
        yield RowTable(bar)


def _printable(text: str) -> str:
    """Text in which no character breaks the line or drives the terminal."""
    return text if text.isprintable() else ascii(text)
