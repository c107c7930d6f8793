"""Runs the benchmarks: prints the table, writes it into docs/speed.md, and draws the plot there.

Usage: run.py [--repo PATH] [--patch FILE], where real input is measured by itself.
"""

import argparse
from collections.abc import Iterable, Iterator
from itertools import chain
from pathlib import Path

import growth
import memory
from example_rows import example_rows, peak_figures
from function_rows import function_rows
from import_row import import_row
from library_rows import library_rows
from open_rows import open_rows
from parser_rows import parser_rows
from real_rows import patch_rows, repository_rows
from repository import made, shield_git
from request_rows import request_rows
from table import Row, markdown, misses
from timing import Stopwatch

BUILD = Path("build/bench")
PLOT = Path("docs/speed.svg")
PAGE = Path("docs/speed.md")
# What stands on the page between these lines is what the last run said.
BEGIN, END = "<!-- Written by make bench: -->\n", "<!-- Up to here. -->\n"


def main() -> None:
    """Measures what the command line asks for."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--repo", type=Path, help="measure on this repository")
    parser.add_argument("--patch", type=Path, help="measure on this patch")
    arguments = parser.parse_args()
    shield_git()
    BUILD.mkdir(parents=True, exist_ok=True)
    watch = Stopwatch()
    if arguments.repo or arguments.patch:
        of_repository = repository_rows(watch, arguments.repo) if arguments.repo else ()
        of_patch = patch_rows(watch, arguments.patch) if arguments.patch else ()
        report(chain(of_repository, of_patch), "real")
        watch.dump(BUILD / "real.json")
        return
    measured = report(all_rows(watch), "table")
    words = f"{misses(measured)}\n{memory.figures()}\n{growth.plot(watch, PLOT)}"
    words += f"\n{peak_figures(BUILD / 'clones')}"
    print(words)
    publish(f"{markdown(measured)}\n{words}")
    watch.dump(BUILD / "table.json")


def all_rows(watch: Stopwatch) -> Iterator[Row]:
    """The rows of the table, on input that is the same at every run."""
    repository = made(BUILD / "repository")
    yield from parser_rows(watch)
    yield from function_rows(watch)
    yield import_row(watch, BUILD / "import")
    yield from request_rows(watch, repository)
    yield from library_rows(watch, repository)
    yield from open_rows(watch, repository)
    yield from example_rows(watch, repository, BUILD / "clones")


def report(rows: Iterable[Row], name: str) -> list[Row]:
    """Prints the rows as they come, and writes the table of them."""
    measured = []
    for row in rows:
        measured.append(row)
        print(row.markdown(), flush=True)
    (BUILD / f"{name}.md").write_text(markdown(measured), encoding="utf-8")
    return measured


def publish(said: str) -> None:
    """Puts what a run said on the page."""
    above, _, rest = PAGE.read_text(encoding="utf-8").partition(BEGIN)
    _, _, below = rest.partition(END)
    PAGE.write_text(f"{above}{BEGIN}\n{said}\n{END}{below}", encoding="utf-8")


if __name__ == "__main__":
    main()
