"""Measures, prints the table, and writes it into docs/speed.md.

Usage: run.py [GROUP...] [--repo PATH] [--patch FILE]. With a group of rows, or with input of one's
own, only that is measured, and the page is left alone. The group "examples", which takes a quarter
of an hour, is measured only if it is named.
"""

import argparse
from collections.abc import Callable, Iterable
from functools import partial
from itertools import chain
from pathlib import Path

import memory
from example_rows import example_figures, example_rows
from function_rows import function_rows
from growth_rows import growth_rows
from import_row import import_row
from library_rows import library_rows
from parser_rows import parser_rows
from pygit2_rows import pygit2_rows
from repository import create_once, isolate_git
from request_rows import request_rows
from table import Row, markdown, misses
from user_rows import patch_rows, repository_rows

BUILD = Path("build/bench")
PAGE = Path("docs/speed.md")
# The lines of the page between these two are replaced by each complete run.
BEGIN, END = "<!-- Written by make bench: -->\n", "<!-- End of what make bench writes. -->\n"

Rows = Iterable[Row]


def main() -> None:
    """Measures what the command line asks for."""
    isolate_git()
    groups = _groups()
    parser = argparse.ArgumentParser()
    parser.add_argument("groups", nargs="*", metavar="GROUP", help=", ".join(groups))
    parser.add_argument("--repo", type=Path, help="measure with this repository")
    parser.add_argument("--patch", type=Path, help="measure with this patch")
    arguments = parser.parse_args()
    if unknown := set(arguments.groups) - set(groups):
        parser.error(f"no such group: {', '.join(sorted(unknown))}")
    selected = [groups[name] for name in arguments.groups]
    if arguments.repo:
        selected.append(partial(repository_rows, arguments.repo))
    if arguments.patch:
        selected.append(partial(patch_rows, arguments.patch))
    rows = _print_rows(selected or [groups[name] for name in groups if name != "examples"])
    summary = misses(rows)
    if "examples" in arguments.groups:
        summary += f"\n{example_figures(BUILD / 'clones')}"
    if not selected:
        summary += f"\n{memory.figures()}"
        _publish(f"{markdown(rows)}\n{summary}")
    print(summary)


def _groups() -> dict[str, Callable[[], Rows]]:
    """The rows of the table, by group, on input that is the same in every run."""
    repository = partial(create_once, BUILD / "repository")
    return {
        "parsers": parser_rows,
        "functions": function_rows,
        "growth": growth_rows,
        "import": lambda: [import_row(BUILD / "import")],
        "requests": lambda: request_rows(repository()),
        "libraries": lambda: library_rows(repository()),
        "pygit2": lambda: pygit2_rows(repository()),
        "examples": lambda: example_rows(repository(), BUILD / "clones"),
    }


def _print_rows(groups: Iterable[Callable[[], Rows]]) -> list[Row]:
    """Prints each row as soon as it is measured."""
    rows = []
    for row in chain.from_iterable(group() for group in groups):
        rows.append(row)
        print(row.markdown(), flush=True)
    return rows


def _publish(text: str) -> None:
    """Writes the text into the page, in place of that of the last run."""
    above, _, rest = PAGE.read_text(encoding="utf-8").partition(BEGIN)
    _, _, below = rest.partition(END)
    PAGE.write_text(f"{above}{BEGIN}\n{text}\n{END}{below}", encoding="utf-8")


if __name__ == "__main__":
    main()
