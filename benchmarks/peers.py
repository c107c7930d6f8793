"""Why not use X: what readers of git's output answer on ordinary file names, beside git itself.

Each case is a commit that changes one file; asked are the paths of the newer side.
"""

import logging
import threading
from collections.abc import Callable, Iterable
from pathlib import Path
from tempfile import TemporaryDirectory

import git as gitpython
import pydriller
import pygit2
import unidiff
import whatthepatch
from repository import git, shield_git

from orvel_tarnix.utils import git_utils

# The name before, the name after.
CASES = [
    (":colon", ":colon"),
    ('na"me.txt', 'na"me.txt'),
    ("\N{LATIN SMALL LETTER A WITH DIAERESIS}.txt", "\N{LATIN SMALL LETTER A WITH DIAERESIS}.txt"),
    ("with space.txt", "with space.txt"),
    ("a/file.txt", "a/file.txt"),
    ("b/file.txt", "b/file.txt"),
    ("old.txt", "new.txt"),
]
TEXT = "1\n2\n3\n4\n5\n6\n"
IDENTITY = ["-c", "user.name=A U Thor", "-c", "user.email=author@example.com"]


def _patch(folder: Path) -> str:
    """With prefixes, as the patch readers expect it."""
    return git(folder, "diff", "-U0", "-M", "HEAD~", "HEAD")


def _gitpython_diff(folder: Path) -> Iterable[str | None]:
    with gitpython.Repo(folder) as opened:
        return [each.b_path for each in opened.commit("HEAD~").diff("HEAD")]


def _gitpython_stats(folder: Path) -> Iterable[str | None]:
    with gitpython.Repo(folder) as opened:
        return list(opened.commit("HEAD").stats.files)


def _pygit2(folder: Path) -> Iterable[str | None]:
    diff = pygit2.Repository(str(folder)).diff("HEAD~", "HEAD")
    diff.find_similar()
    return [patch.delta.new_file.path for patch in diff]


READERS: dict[str, Callable[[Path], Iterable[str | None]]] = {
    "git diff --name-only -z": lambda folder: git(
        folder, "diff", "--name-only", "-M", "-z", "HEAD~", "HEAD"
    ).split("\0")[:-1],
    "diff_line_spans": lambda folder: git_utils.diff_line_spans(
        folder, "HEAD~", "HEAD", merge_base=False
    ),
    "diff_file_changes": lambda folder: [
        file.path for file in git_utils.diff_file_changes(folder, "HEAD~", "HEAD")
    ],
    "unidiff": lambda folder: [file.path for file in unidiff.PatchSet(_patch(folder))],
    "whatthepatch": lambda folder: [
        diff.header.new_path for diff in whatthepatch.parse_patch(_patch(folder))
    ],
    "GitPython diff": _gitpython_diff,
    "GitPython stats": _gitpython_stats,
    "PyDriller": lambda folder: [
        file.new_path for file in pydriller.Git(str(folder)).diff("HEAD~", "HEAD")
    ],
    "pygit2": _pygit2,
}


def main() -> None:
    """Prints each reader's answer to each case."""
    shield_git()
    # GitPython reads in a thread, whose errors do not reach the caller.
    logging.disable()
    threading.excepthook = lambda error: print(f"    in a thread: {error.exc_value!r}")
    for before, after in CASES:
        with TemporaryDirectory() as name:
            folder = Path(name)
            _commit(folder, before, after)
            print(f"\n{before!r} -> {after!r}")
            truth = None
            for reader, paths in READERS.items():
                answer = list(paths(folder))
                truth = answer if truth is None else truth
                print(f"  {'ok   ' if answer == truth else 'WRONG'} {reader:24} {answer}")


def _commit(folder: Path, before: str, after: str) -> None:
    git(folder, "init", "--quiet")
    for path, text in ((before, TEXT), (after, TEXT + "7\n")):
        (folder / path).parent.mkdir(exist_ok=True)
        (folder / before).unlink(missing_ok=True)
        (folder / path).write_text(text, encoding="utf-8")
        git(folder, "add", "--all")
        git(folder, *IDENTITY, "commit", "--quiet", "--message", "change")


if __name__ == "__main__":
    main()
