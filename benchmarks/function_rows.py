"""Functions that run no git, compared with plain Python."""

from collections.abc import Iterator
from functools import partial
from pathlib import Path

import plain_python
from inputs import file_changes, paths
from table import Row
from timing import measure

from orvel_tarnix.utils import git_utils

# Functions without a fast path execute the same Python statements as the baseline.
NO_FAST_PATH = 0.8
LIMIT = "entering the C++ body, which matters in the shortest calls"
FALLBACK = 0.9

# Function, arguments, what they are, least speedup.
CASES = [
    ("sanitize_branch_name", ("feature/login form (second try)",), "", 5),
    ("normalize_branch_name", ("refs/remotes/origin/feature/login",), "", 1),
    ("_file_changes", (file_changes(100).split("\0"),), "of a list of tokens", FALLBACK),
    ("_path_batches", (paths(2000),), "of 2,000 paths", NO_FAST_PATH),
    ("parse_time_spec", ("7d",), "relative", NO_FAST_PATH),
    ("parse_time_spec", ("2026-09-01",), "ISO date", NO_FAST_PATH),
    ("_span", (10, 3, 0), "", NO_FAST_PATH),
    ("_line_count", ("120",), "", NO_FAST_PATH),
    ("_patch_path", ("source/module.py",), "", NO_FAST_PATH),
    ("_unquote", (r"docs/\303\244rger\t\"quoted\".md",), "of a name with escapes", NO_FAST_PATH),
    ("find_git_root", (Path(__file__).parent,), "", NO_FAST_PATH),
    ("find_repo_root", (), "", NO_FAST_PATH),
    ("wiki_root", (Path("repository"),), "", NO_FAST_PATH),
    ("wiki_directory", (Path("repository"), "feature/login"), "", NO_FAST_PATH),
]


def function_rows() -> Iterator[Row]:
    """One row for each case."""
    for name, arguments, description, target in CASES:
        operation = f"`{name}` {description}".rstrip()
        ours = partial(getattr(git_utils, name), *arguments)
        plain = partial(getattr(plain_python, name), *arguments)
        # A relative time spec counts from the moment of the call.
        if description != "relative" and repr(ours()) != repr(plain()):
            raise AssertionError(f"{operation}: the results differ")
        ratios = measure(duration=1.5, ours=ours, plain=plain).ratios("plain", "ours")
        yield Row(operation, "plain Python", target=target, limit=LIMIT, **ratios)
