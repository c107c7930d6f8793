"""Where a library that reads the objects itself is faster: small questions to one kept open."""

from collections.abc import Iterator
from functools import partial
from pathlib import Path

import pygit2
from table import Row
from timing import Call, Stopwatch

from orvel_tarnix.utils import git_utils

REVISION = "HEAD~100"
# So few commits apart that ten files differ.
NEAR = "HEAD~5"


def open_rows(watch: Stopwatch, repository: Path) -> Iterator[Row]:
    """How many times as fast as ours pygit2 answers, once it has opened the repository."""
    opened = pygit2.Repository(str(repository))
    questions: dict[str, tuple[Call, Call]] = {
        "head": (
            partial(git_utils.get_head_commit, repository, short=False),
            lambda: str(opened.head.target),
        ),
        "branch": (
            partial(git_utils.resolve_display_branch, repository),
            lambda: opened.head.shorthand,
        ),
        "revision": (
            partial(git_utils.resolve_commit, repository, REVISION),
            lambda: str(opened.revparse_single(REVISION).id),
        ),
        "a diff of ten files": (
            lambda: [file.path for file in git_utils.diff_file_changes(repository, NEAR, "HEAD")],
            lambda: [
                patch.delta.new_file.path
                for patch in _diff(opened)
                if patch.line_stats  # counted, as ours are
            ],
        ),
    }
    for question, (ours, theirs) in questions.items():
        if ours() != theirs():
            raise AssertionError(f"{question}: pygit2 gives another answer")
        race = watch.race(f"{question} / pygit2 kept open", ours=ours, pygit2=theirs)
        yield Row(f"{question}, of pygit2 kept open", "git_utils", **race.figures("ours", "pygit2"))


def _diff(opened: pygit2.Repository) -> pygit2.Diff:
    diff = opened.diff(NEAR, "HEAD")
    diff.find_similar()
    return diff
