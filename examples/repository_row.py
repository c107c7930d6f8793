"""One repository in a row of a few numbers and names, made where the module is installed.

Workers get these functions by value. So nothing but the standard library is imported here, and
neither the scheduler nor the machine of the one who asks needs the module.
"""

import logging
import os
from importlib import import_module
from importlib.util import module_from_spec
from pathlib import Path
from time import monotonic
from types import ModuleType
from typing import Any

MODULE = "orvel_tarnix.utils.git_utils"
# A repository's own configuration names what fetches the objects that it lacks.
NO_FETCHING = {"GIT_ALLOW_PROTOCOL": "none", "GIT_NO_LAZY_FETCH": "1"}

# A row is there for others only when its whole batch is.
SECONDS_TOGETHER = 0.5

Row = dict[str, Any]  # no `type`: that is pickled by its name


def rows(roots: list[str], **question: Any) -> list[Row]:
    """The rows of the first of the directories, at least of one, as long as that is quick."""
    end = monotonic() + SECONDS_TOGETHER
    made: list[Row] = []
    while len(made) < len(roots) and (not made or monotonic() < end):
        made.append(row(roots[len(made)], **question))
    return made


def row(root: str, *, since: str, timeout: float | None, fetch_missing: bool) -> Row:
    """The row of the repository that holds a directory, or why there is none.

    Every way to fail comes back as text, since an exception of the module's could not be read
    where the module is not. ``refused`` stands for a question that no repository can answer.
    """
    asked = {"root": root, "since": since}
    try:
        module = import_module(MODULE)
        try:
            start = module.parse_time_spec(since)
        except ValueError as error:
            return {"refused": str(error)}
        top = _top(module, Path(root))
        return asked | _facts(_own(module, top, timeout, fetch_missing=fetch_missing), top, start)
    except Exception as error:  # noqa: BLE001 - one bad repository ends nothing but its own row
        return asked | {"error": _reason(error, root)}


def _top(module: ModuleType, where: Path) -> Path:
    if not where.is_dir():
        raise module.GitError("no directory")
    root = module.find_git_root(where)
    if root is None:
        raise module.GitError("in no git repository")
    return root


def _own(
    module: ModuleType, top: Path, timeout: float | None, *, fetch_missing: bool
) -> ModuleType:
    """The module as an object of its own, in which names are rebound for this question alone."""
    git = module_from_spec(module.__spec__)
    git.__loader__.exec_module(git)
    run, keywords = git.run_git_command, git.get_subprocess_hidden_kwargs
    end = monotonic() + timeout if timeout else None

    def run_until_end(root: Path, args: list[str], limit: float = 30) -> tuple[str, str, int]:
        answer = run(root, args, limit if end is None else min(limit, max(end - monotonic(), 0)))
        if end is not None and monotonic() >= end:
            raise TimeoutError(f"took longer than {timeout:g} seconds")
        return answer

    git.run_git_command = run_until_end
    # What goes wrong stands in the row.
    git.logger = logging.Logger(MODULE, logging.CRITICAL)  # noqa: LOG001
    # Where this repository is damaged, one further up must not answer for it.
    variables = {"GIT_CEILING_DIRECTORIES": str(top.parent)}
    if not fetch_missing:
        variables |= NO_FETCHING
    git.get_subprocess_hidden_kwargs = lambda: keywords() | {"env": os.environ | variables}
    return git


def _facts(git: ModuleType, root: Path, start: Any) -> Row:
    # From here on git gets commit ids only: a name could be an option or a file to it.
    head = git.resolve_commit(root, "HEAD")
    if head is None:
        printed(git, root, ["log", "--max-count=1"])  # git's own words: empty, damaged, not ours
        raise git.GitError("HEAD names no commit")
    name, base = default_base(git, root)
    apart = base not in {None, head}
    ahead = git.count_commits(root, base, head) if apart else 0
    behind = git.count_commits(root, head, base) if apart else 0
    if not ahead:
        name, base = f"{start:%F}", git.commit_before(root, head, start)
    changes = git.diff_file_changes(root, base, head) if base else _all_files(git, root, head)
    # Asked for a commit, the summary does not read standard input, which all threads share.
    period = f"--since={start:%Y-%m-%d %H:%M:%S}"
    authors = printed(git, root, ["shortlog", "-sne", period, head]).split("\n")[:-1]
    return {
        "repository": str(root),
        "branch": git.resolve_display_branch(root) or "HEAD",
        "compared_with": name,
        "ahead": ahead,
        "behind": behind,
        "files": len(changes),
        "added": sum(change.additions for change in changes),
        "deleted": sum(change.deletions for change in changes),
        "commits": sum(int(author.partition("\t")[0]) for author in authors),
        "authors": len(authors),
    }


def default_base(git: ModuleType, root: Path) -> tuple[str, str | None]:
    """The default branch and its commit, which is the remote's where there is no local one."""
    default = git.get_default_branch(root)
    for name in (default, f"origin/{default}"):
        if commit := git.resolve_commit(root, name):
            return name, commit
    return default, None


def _all_files(git: ModuleType, root: Path, head: str) -> list[Any]:
    """The changes from nothing to ``head``: a tree without files is no side of a merge base."""
    nothing = printed(git, root, ["hash-object", "-t", "tree", os.devnull]).strip()
    records = ["diff", "--raw", "--numstat", "-M", "-z", "--no-textconv", nothing, head]
    return git.parse_file_changes(printed(git, root, records))


def printed(git: ModuleType, root: Path, args: list[str]) -> str:
    """What a git command of one's own printed; fails as the module's functions do."""
    output, error, code = git.run_git_command(root, args)
    if code != 0:
        raise git.GitError(error.strip() or f"git exited with code {code}")
    return output


def _reason(error: Exception, root: str) -> str:
    """The first line of an error, without the path of the repository: the row names that."""
    reason = str(error).strip().partition("\n")[0] or type(error).__name__
    for path in {root, os.path.realpath(root)}:
        reason = reason.replace(f"'{path}'", "'.'").replace(f"{path}/", "")
    return reason
