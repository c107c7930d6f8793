"""Git as every program runs it: which repository, which commits, and what to report if git fails.

Workers of a cluster receive these functions by value, so only the standard library is imported
here and every function takes the module as its first argument.
"""

import os
from collections.abc import Sequence
from pathlib import Path
from types import ModuleType
from typing import Any, NamedTuple

# A partial clone's own configuration says where missing objects come from and how. Fetching can
# start any program, so a repository that somebody else made is not allowed to do it unasked.
NO_FETCHING = {
    "GIT_ALLOW_PROTOCOL": "none",
    "GIT_NO_LAZY_FETCH": "1",  # from git 2.45 on, with a clearer message
}

# Added, copied, modified, renamed and retyped files: all that have a newer side.
WITH_NEWER_SIDE = "ACMRT"


def printed(git: ModuleType, root: Path, args: list[str]) -> str:
    """What a git command printed. The module's own function for this is private.

    Raises:
        git.GitError: git failed.
    """
    output, error, code = git.run_git_command(root, args)
    if code != 0:
        raise git.GitError(error.strip() or f"git exited with code {code}")
    return output


def work_tree(git: ModuleType, where: Path) -> Path:
    """The root of the repository that holds a directory.

    Raises:
        git.GitError: There is none, it has no work tree, or git refuses to read it.
    """
    if not where.is_dir():
        raise git.GitError(f"{where}: not a directory")
    root = git.find_git_root(where.resolve())  # which takes `..` and links by their names
    output, error, code = git.run_git_command(
        where, ["rev-parse", "--is-bare-repository", "--show-cdup"]
    )
    if output.startswith("true"):
        raise git.GitError(f"{where}: a bare repository: name a work tree or a clone of it")
    if root is None:
        raise git.GitError(f"{where}: in no git repository")
    if code != 0:
        raise git.GitError(error)
    # Without a usable .git here, git would answer for a repository further up.
    up = output.split("\n")[1]
    if up and (where / up).resolve() != root:
        raise git.GitError(f"{where}: its .git is not a git repository")
    return root


class Sides(NamedTuple):
    """Two commits to compare, by id: git could read a name as an option or a file."""

    branch: str | None  # None if HEAD is detached
    default_branch: str
    head_name: str
    head: str
    base_name: str
    base: str | None  # None if the repository lacks its default branch


def sides(git: ModuleType, root: Path, base: str | None = None, head: str | None = None) -> Sides:
    """The commits that a person means; by default what is checked out and the default branch.

    Raises:
        git.GitError: A name is not that of a commit, or none is checked out.
    """
    branch = git.resolve_display_branch(root)
    default = git.get_default_branch(root)
    new = _checked_out(git, root, branch) if head is None else _named(git, root, head)
    old = _default_base(git, root, default) if base is None else (base, _named(git, root, base))
    return Sides(branch, default, head or branch or "HEAD", new, *old)


def ahead_and_behind(git: ModuleType, root: Path, base: str | None, head: str) -> tuple[int, int]:
    """How many commits each side has that the other lacks."""
    if base in {None, head}:
        return 0, 0
    return git.count_commits(root, base, head), git.count_commits(root, head, base)


def _checked_out(git: ModuleType, root: Path, branch: str | None) -> str:
    if commit := git.resolve_commit(root, "HEAD"):
        return commit
    if tip := git.get_head_commit(root, short=False):
        raise git.GitError(f"{root}: damaged: it lacks the commit {tip} that is checked out")
    if branch is None:
        raise git.GitError(f"{root}: damaged: its HEAD names no commit")
    raise git.GitError(f"{root}: no commit on {branch} yet")


def _named(git: ModuleType, root: Path, name: str) -> str:
    """The commit of a name, which is a branch first: a tag of the same name does not hide it."""
    for revision in (f"refs/heads/{name}", name, f"refs/remotes/origin/{name}"):
        if commit := git.resolve_commit(root, revision):
            return commit
    raise git.GitError(f"{root}: {name!r} names no commit")


def _default_base(git: ModuleType, root: Path, default: str) -> tuple[str, str | None]:
    """The local default branch or else the remote's, by full names: a tag hides neither."""
    for name, folder in ((default, "refs/heads"), (f"origin/{default}", "refs/remotes/origin")):
        if commit := git.resolve_commit(root, f"{folder}/{default}"):
            return name, commit
    return default, None


def are_related(git: ModuleType, root: Path, old: str, new: str) -> bool:
    """Whether two commits have a commit in common."""
    return git.run_git_command(root, ["merge-base", old, new])[2] == 0


def changed_files(git: ModuleType, root: Path, old: str, new: str) -> list[Any]:
    """The files that ``new`` changed since it left ``old``.

    If the two have no commit in common, these are all files that differ.
    """
    try:
        return git.diff_file_changes(root, old, new)
    except git.GitError:
        if are_related(git, root, old, new):
            raise
    return differing_files(git, root, old, new)


def differing_files(
    git: ModuleType, root: Path, old: str, new: str, paths: Sequence[str] = ()
) -> list[Any]:
    """The files that differ between two trees, without a merge base: these, or all of them."""
    records = ["diff", "--raw", "--numstat", "-M", "-z", "--no-textconv", old, new, "--", *paths]
    return git.parse_file_changes(printed(git, root, ["--literal-pathspecs", *records]))


def empty_tree(git: ModuleType, root: Path) -> str:
    """The tree to compare a first commit with; git knows it without storing it."""
    return printed(git, root, ["hash-object", "-t", "tree", os.devnull]).strip()


def explain(error: Exception) -> str:
    """The line of an error message that says what happened, without git's warnings and hints."""
    text = str(error)
    lines = [line for line in text.splitlines() if line.strip()] or [type(error).__name__]
    reason = next((line for line in lines if not line.startswith(("warning:", "hint:"))), lines[0])
    if "promisor remote" in text or "lazy fetching disabled" in text:
        # First, as a terminal may cut the end.
        return f"this partial clone lacks objects, which --fetch-missing lets git fetch: {reason}"
    return reason
