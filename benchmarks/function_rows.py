"""The functions that run no git, beside the same in plain Python."""

from collections.abc import Iterator
from functools import partial
from pathlib import Path

import plain_python
from inputs import file_changes, paths
from table import Row
from timing import Stopwatch

from orvel_tarnix.utils import git_utils

# Nearly all of these is spent in pathlib, which both sides call.
PATH_FUNCTIONS = {"find_git_root", "find_repo_root", "wiki_root"}
# Function, arguments, what the work is, how many times as fast it has to be.
WORK = [
    ("_path_batches", (paths(2000),), "of 2,000 paths", 5),
    ("sanitize_branch_name", ("feature/login form (second try)",), "", 5),
    ("_unquote", (r"docs/\303\244rger\t\"quoted\".md",), "of a name with escapes", 3),
    ("find_git_root", (Path(__file__).parent,), "", 1),
    ("find_repo_root", (), "", 1),
    ("normalize_branch_name", ("refs/remotes/origin/feature/login",), "", 1),
    ("wiki_root", (Path("repository"),), "", 1),
    ("wiki_directory", (Path("repository"), "feature/login"), "", 1),
    ("parse_time_spec", ("7d",), "relative", 1),
    ("parse_time_spec", ("2026-09-01",), "ISO date", 1),
    ("_span", (10, 3, 0), "", 1),
    ("_line_count", ("120",), "", 1),
    ("_patch_path", ("source/module.py",), "", 1),
    ("_file_changes", (file_changes(100).split("\0"),), "of 100 files", 1),
]


def function_rows(watch: Stopwatch) -> Iterator[Row]:
    """Every row of the functions that run no git."""
    for name, arguments, what, target in WORK:
        work = f"`{name}` {what}".rstrip()
        ours = partial(getattr(git_utils, name), *arguments)
        plain = partial(getattr(plain_python, name), *arguments)
        # A relative time spec counts from the moment of the call.
        if what != "relative" and repr(ours()) != repr(plain()):
            raise AssertionError(f"{work}: the results differ")
        race = watch.race(f"{work} / plain Python", seconds=1.5, ours=ours, plain=plain)
        limit = "pathlib, which both sides call" if name in PATH_FUNCTIONS else "not known"
        figures = race.figures("plain", "ours")
        yield Row(work, "plain Python", target=target, limit=limit, **figures)
