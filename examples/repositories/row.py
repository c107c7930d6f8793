"""One repository in a row of a few numbers and names.

Workers of a cluster receive this by value, and only they need the module. So nothing but the
standard library is imported at the top.
"""

import logging
import math
import os
import threading
from dataclasses import dataclass
from datetime import datetime
from functools import cached_property
from importlib import import_module
from importlib.util import module_from_spec
from pathlib import Path
from time import monotonic
from types import ModuleType
from typing import Any

from shared import git as shared

MODULE = "orvel_tarnix.utils.git_utils"
BATCH_SECONDS = 0.05  # a batch's rows are only shown together, so it must be short
NUMBERS = ("ahead", "behind", "files", "added", "deleted", "commits", "authors")
NAMES = ("repository", "branch", "compared_with")

Row = dict[str, Any]  # not `type Row`, which is pickled by name


@dataclass
class Question:
    """The options that every row depends on."""

    since: str
    timeout: float | None  # seconds for all that git does about one repository
    fetch_missing: bool

    def rows(self, roots: list[str]) -> list[Row]:
        """The rows of the first directories: at least one, more while that takes less than 50 ms.

        A row with `refused` means the question itself is invalid.
        """
        end = monotonic() + BATCH_SECONDS
        try:
            start = self._git.parse_time_spec(self.since)
        except ValueError as error:
            return [{"root": roots[0], "refused": str(error)}]
        made: list[Row] = []
        while len(made) < len(roots) and (not made or monotonic() < end):
            made.append(self._row(roots[len(made)], start))
        return made

    def _row(self, root: str, start: datetime) -> Row:
        """A row, or an error as text: without the module a client could not unpickle it."""
        git = self._git
        git.deadline.end = monotonic() + (self.timeout or math.inf)
        try:
            return {"root": root} | _facts(git, shared.work_tree(git, Path(root)), start)
        except Exception as error:  # noqa: BLE001 - an error concerns one row only
            reason = shared.explain(error)
            for path in {root, os.path.realpath(root)}:  # the row names the repository already
                reason = reason.removeprefix(f"{path}: ").replace(f"'{path}'", "'.'")
            return {"root": root, "error": reason.replace(f"{root}/", "")}

    @cached_property
    def _git(self) -> ModuleType:
        """An instance of the module in which names are rebound for this question alone."""
        git = module_from_spec(import_module(MODULE).__spec__)
        git.__loader__.exec_module(git)
        run, keywords = git.run_git_command, git.get_subprocess_hidden_kwargs
        git.deadline = threading.local()  # each thread reads one repository at a time

        def run_in_time(root: Path, args: list[str], limit: float = 30) -> tuple[str, str, int]:
            left = git.deadline.end - monotonic()
            answer = run(root, args, min(limit, max(left, 0)))
            if monotonic() >= git.deadline.end:
                raise TimeoutError(f"took longer than {self.timeout:g} seconds")
            return answer

        git.run_git_command = run_in_time
        git.logger = logging.Logger(MODULE, logging.CRITICAL)  # noqa: LOG001 - the row says it
        if not self.fetch_missing:
            environment = os.environ | shared.NO_FETCHING
            git.get_subprocess_hidden_kwargs = lambda: keywords() | {"env": environment}
        return git


def _facts(git: ModuleType, root: Path, start: datetime) -> Row:
    sides = shared.sides(git, root)
    ahead, behind = shared.ahead_and_behind(git, root, sides.base, sides.head)
    name, old = sides.base_name, sides.base
    if not ahead:
        name, old = f"{start:%F}", git.commit_before(root, sides.head, start)
    files = shared.changed_files(git, root, old or shared.empty_tree(git, root), sides.head)
    # Without a revision, shortlog would read standard input, which all threads share.
    period = [f"--since={start:%Y-%m-%d %H:%M:%S}", sides.head]
    authors = shared.printed(git, root, ["shortlog", "-sne", *period]).split("\n")[:-1]
    return {
        "repository": str(root),
        "branch": sides.branch or "HEAD",
        "compared_with": name,
        "ahead": ahead,
        "behind": behind,
        "files": len(files),
        "added": sum(file.additions for file in files),
        "deleted": sum(file.deletions for file in files),
        "commits": sum(int(author.partition("\t")[0]) for author in authors),
        "authors": len(authors),
    }
