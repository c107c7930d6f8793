"""The files of each commit and the files of a diff, compared with other libraries."""

from collections.abc import Callable, Iterator
from functools import partial
from pathlib import Path

import git
import pydriller
import pygit2
from repository import COMMITS, MOVE_INTERVAL
from request_rows import LONG_AGO
from table import Row
from timing import measure

from orvel_tarnix.utils import git_utils

BASE = "HEAD~300"

# Added and deleted lines of each file, by path.
Files = dict[str, tuple[int, int]]


def library_rows(repository: Path) -> Iterator[Row]:
    """The rows of both questions; each answer includes running git or opening the repository."""
    every_commit = {
        "ours": _log_of_ours,
        "GitPython": _log_of_gitpython,
        "PyDriller": _log_of_pydriller,
        "pygit2": _log_of_pygit2,
    }
    _check_same_answers(every_commit, repository, _without_moves)
    operation = f"files of each of {COMMITS:,} commits, git included"
    for name, ratios in _compare(every_commit, repository):
        yield Row(operation, name, target=None if name == "pygit2" else 10, **ratios)

    diff = {
        "ours": _diff_of_ours,
        "GitPython": _diff_of_gitpython,
        "PyDriller": _diff_of_pydriller,
        "pygit2": _diff_of_pygit2,
    }
    _check_same_answers(diff, repository, sorted)
    operation = "files of a diff, 300 commits apart, git included"
    for name, ratios in _compare(diff, repository):
        yield Row(operation, f"{name} (no line counts)" if name == "GitPython" else name, **ratios)


def _check_same_answers(
    readers: dict[str, Callable], repository: Path, comparable: Callable
) -> None:
    answers = {name: comparable(reader(repository)) for name, reader in readers.items()}
    for name, answer in answers.items():
        if answer != answers["ours"]:
            raise AssertionError(f"{name} gives another answer")


def _without_moves(commits: list[Files]) -> list[Files]:
    # GitPython reports a moved file as a deleted one and an added one.
    oldest_first = enumerate(reversed(commits), start=1)
    return [files for number, files in oldest_first if number % MOVE_INTERVAL]


def _compare(
    readers: dict[str, Callable], repository: Path
) -> Iterator[tuple[str, dict[str, float | None]]]:
    sides = {name: partial(reader, repository) for name, reader in readers.items()}
    measurement = measure(min_rounds=3, **sides)
    return ((name, measurement.ratios(name, "ours")) for name in readers if name != "ours")


def _log_of_ours(repository: Path) -> list[Files]:
    commits = git_utils.log_commit_changes(
        repository, since=LONG_AGO, ref=None, max_commits=COMMITS
    )
    return [
        {file.path: (file.additions, file.deletions) for file in commit.files} for commit in commits
    ]


def _log_of_gitpython(repository: Path) -> list[Files]:
    with git.Repo(repository) as opened:
        return [
            {
                path: (counts["insertions"], counts["deletions"])
                for path, counts in commit.stats.files.items()
            }
            for commit in opened.iter_commits()
        ]


def _log_of_pydriller(repository: Path) -> list[Files]:
    commits = pydriller.Repository(str(repository), order="reverse").traverse_commits()
    return [_files_of_pydriller(commit.modified_files) for commit in commits]


def _log_of_pygit2(repository: Path) -> list[Files]:
    opened = pygit2.Repository(str(repository))
    return [
        _files_of_pygit2(
            opened.diff(commit.parents[0], commit)
            if commit.parents
            else commit.tree.diff_to_tree(swap=True)
        )
        for commit in opened.walk(opened.head.target)
    ]


def _diff_of_ours(repository: Path) -> Files:
    files = git_utils.diff_file_changes(repository, BASE, "HEAD")
    return {file.path: (file.additions, file.deletions) for file in files}


def _diff_of_gitpython(repository: Path) -> dict[str, str]:
    with git.Repo(repository) as opened:
        return {each.b_path: each.change_type for each in opened.commit(BASE).diff("HEAD")}


def _diff_of_pydriller(repository: Path) -> Files:
    return _files_of_pydriller(pydriller.Git(str(repository)).diff(BASE, "HEAD"))


def _diff_of_pygit2(repository: Path) -> Files:
    return _files_of_pygit2(pygit2.Repository(str(repository)).diff(BASE, "HEAD"))


def _files_of_pydriller(files: list[pydriller.ModifiedFile]) -> Files:
    return {
        file.new_path or file.old_path: (file.added_lines, file.deleted_lines) for file in files
    }


def _files_of_pygit2(diff: pygit2.Diff) -> Files:
    diff.find_similar()
    return {patch.delta.new_file.path: patch.line_stats[1:] for patch in diff}
