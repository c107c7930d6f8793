"""Small questions to a repository that pygit2 keeps open, where it is faster: it starts no git."""

from collections.abc import Iterator
from functools import partial
from pathlib import Path

import pygit2
from table import Row
from timing import Call, measure

from orvel_tarnix.utils import git_utils

REVISION = "HEAD~100"
# Ten files differ between this revision and HEAD.
NEAR = "HEAD~5"


def pygit2_rows(repository: Path) -> Iterator[Row]:
    """The speedup of pygit2 over this module, once it has opened the repository."""
    opened = pygit2.Repository(str(repository))
    questions: dict[str, tuple[Call, Call]] = {
        "`get_head_commit`": (
            partial(git_utils.get_head_commit, repository, short=False),
            lambda: str(opened.head.target),
        ),
        "`resolve_display_branch`": (
            partial(git_utils.resolve_display_branch, repository),
            lambda: opened.head.shorthand,
        ),
        "`resolve_commit`": (
            partial(git_utils.resolve_commit, repository, REVISION),
            lambda: str(opened.revparse_single(REVISION).id),
        ),
        "`diff_file_changes` of ten files": (
            lambda: [file.path for file in git_utils.diff_file_changes(repository, NEAR, "HEAD")],
            lambda: [
                patch.delta.new_file.path
                for patch in _diff(opened)
                if patch.line_stats  # counts lines, as diff_file_changes does
            ],
        ),
    }
    for question, (ours, theirs) in questions.items():
        if ours() != theirs():
            raise AssertionError(f"{question}: pygit2 gives another answer")
        ratios = measure(ours=ours, pygit2=theirs).ratios("ours", "pygit2")
        yield Row(f"pygit2 kept open, instead of {question}", "git_utils", **ratios)


def _diff(opened: pygit2.Repository) -> pygit2.Diff:
    diff = opened.diff(NEAR, "HEAD")
    diff.find_similar()
    return diff
