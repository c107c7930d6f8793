"""Git utilities for parsing git log, diff, and related commands.

Provides a suite of functions for interacting with git repositories,
extracting commit history, file changes, branch comparisons, and
author statistics. All operations are performed via subprocess calls
to the git CLI, with proper timeout handling and error recovery.

Key Features:
    - Time-spec parsing (e.g., "7d", "24h", "30m", "2w")
    - Diffs and commit logs parsed into file changes and changed line spans
    - Default branch detection (main/master)
    - Author contribution tracking

Platform Notes:
    - On Windows, uses STARTUPINFO with SW_HIDE to fully hide console windows
    - All operations have configurable timeouts (default: 30s)
"""

import logging
import re
import subprocess as subprocess
from collections.abc import Sequence
from dataclasses import dataclass
from datetime import datetime as datetime, timedelta as timedelta
from pathlib import Path
from typing import Any

from orvel_tarnix.utils.process import get_subprocess_hidden_kwargs as get_subprocess_hidden_kwargs

logger: logging.Logger

# The forms that `parse_time_spec` accepts, in words; part of its error message.
TIME_SPEC_FORMS: str
_RELATIVE_SPEC: re.Pattern[str]
_SPEC_UNITS: dict[str, str]  # unit letter -> keyword of timedelta
_STATUS_BY_LETTER: dict[str, str]  # git's status letter -> FileChange.status
_TWO_PATH_LETTERS: frozenset[str]  # status letters whose raw record names two paths
_COMMIT_START: str  # what a commit's header in the log stream opens with
_PATCH_OPTIONS: tuple[str, ...]
_HUNK_HEADER: re.Pattern[str]
_C_ESCAPE: re.Pattern[str]
_C_ESCAPES: dict[str, str]  # escape letter -> character

class GitError(RuntimeError):
    """A git command failed; the message carries what git said."""

@dataclass(frozen=True)
class FileChange:
    """One file of a diff: its path on the newer side, what happened to it, its line counts.

    ``status`` is one of added, modified, deleted, renamed or copied; ``old_path`` is set for a
    renamed or copied file. A binary file counts no lines.
    """

    # Relative to the repository root, exactly as git has it: never quoted.
    path: str
    status: str
    # Lines, from git's numstat record.
    additions: int
    deletions: int
    old_path: str | None = None

@dataclass(frozen=True)
class CommitChanges:
    """The files one commit changed, and when it was committed (seconds since the epoch)."""

    # The committer's date, in seconds since the epoch.
    timestamp: int
    # In git's order; empty for a merge, which git lists without changes.
    files: tuple[FileChange, ...]

@dataclass(frozen=True)
class LineSpan:
    """Lines ``start`` to ``end`` (1-based, inclusive) of a file's newer side that a diff touched.

    ``added`` is true when the span holds new lines only, none of them replacing an old line. A
    span of a deletion is the line above the place the lines were removed from (the first line
    when they were removed from the top).
    """

    # Lines counted from 1, both ends included.
    start: int
    end: int
    added: bool

def find_git_root(start: Path | None = None) -> Path | None:
    """Find the git repository that contains a directory.

    Searches upward from ``start`` for a ``.git`` entry (a directory, or a file
    in worktrees and submodules). Symlinks are not resolved; callers that need
    the canonical path resolve the result themselves.

    Args:
        start: Directory to start from (default: the current working directory).

    Returns:
        The repository root, or None when ``start`` is not inside a repository.
    """

def find_repo_root() -> Path:
    """Find repository root by looking for .git directory.

    Searches upward from current working directory until .git is found.
    Returns current working directory if .git not found. Callers that must
    know whether they are inside a repository use :func:`find_git_root`.

    Returns:
        Path to repository root directory containing .git folder.
    """

def resolve_display_branch(repo_root: Path) -> str | None:
    """Auto-detect the current branch for display purposes.

    Mirrors the branch auto-detect block used when no explicit branch filter is
    supplied: runs ``git branch --show-current`` and returns the trimmed branch
    name, or ``None`` if the command fails or yields no branch (e.g., detached
    HEAD).

    Args:
        repo_root: Repository root directory.

    Returns:
        Current branch name, or None if it cannot be determined.
    """

def normalize_branch_name(name: str | None) -> str | None:
    """Normalize a user-supplied branch name to its short form, or None.

    Strips surrounding whitespace and common ref prefixes (``refs/heads/``,
    ``refs/remotes/``, ``remotes/``, ``origin/``) so that equivalent spellings
    of the same branch — ``main``, ``origin/main``, ``refs/heads/main`` — compare
    equal and route to the same wiki directory. Returns ``None`` for an empty or
    ``None`` input so callers can fall back to an auto-detected branch.
    """

def parse_time_spec(since: str) -> datetime:
    """The start of the period a time spec names, in local time.

    Args:
        since: A relative spec (``30m``, ``24h``, ``7d``, ``2w``: a positive whole number and a
            unit) or an ISO date; one with an offset is converted to local time.

    Returns:
        The moment the period starts.

    Raises:
        ValueError: The spec is none of these forms; the message names them.
    """

def sanitize_branch_name(branch: str) -> str:
    """Sanitize a branch name for use as a filesystem directory name.

    The wiki's output directories are named this way: slashes become ``__``,
    anything but letters, digits and ``-_.`` becomes ``_``, at most 100 characters,
    and ``default`` stands for an empty name.
    """

def wiki_root(repo_root: Path) -> Path:
    """The directory that holds the wiki of every branch: ``memory/lore-book``."""

def wiki_directory(repo_root: Path, branch: str) -> Path:
    """The directory of one branch's wiki, named by :func:`sanitize_branch_name`."""

def run_git_command(repo_root: Path, args: list[str], timeout: int = 30) -> tuple[str, str, int]:
    """Run a git command and return output.

    Executes a git command with subprocess and returns captured output and
    return code. Handles timeout gracefully and hides console windows on Windows.
    On timeout or git not found, returns empty stdout with error message in stderr.
    Output is read as UTF-8, which git writes paths and messages in, whatever the locale
    (a byte that is not UTF-8 becomes U+FFFD instead of failing the command).

    Args:
        repo_root: Repository root directory to run git command in.
        args: Git command arguments (without 'git' prefix, e.g., ['log', '--oneline']).
        timeout: Command timeout in seconds (default: 30).

    Returns:
        Tuple of (stdout, stderr, return_code) as strings/int.
    """

def get_head_commit(repo_root: Path, short: bool = True) -> str | None:
    """Current HEAD commit hash, or None when unavailable (no git, empty repo).

    Shared by artifact generators that stamp output with the generation commit.
    """

def get_default_branch(repo_root: Path) -> str:
    """Detect the default branch of a repository.

    Uses multiple detection strategies in order of preference:
    1. git symbolic-ref refs/remotes/origin/HEAD (tracks remote default)
    2. Check if 'main' local branch exists
    3. Check if 'master' local branch exists
    4. Fall back to 'main' as default

    Args:
        repo_root: Repository root directory.

    Returns:
        Default branch name as string (e.g., 'main', 'master').
    """

def branch_exists(repo_root: Path, branch: str) -> bool:
    """Check if a branch or ref exists in the repository.

    Checks both local branches and remote tracking branches. Automatically
    tries the origin/ prefix if the direct branch name is not found.

    Args:
        repo_root: Repository root directory.
        branch: Branch name to check (with or without origin/ prefix).
             For remote branches, can omit the 'origin/' prefix.

    Returns:
        True if the branch exists locally or remotely, False otherwise.
    """

def get_authors_for_period(repo_root: Path, since: str = "30d") -> list[dict[str, Any]]:
    """Get unique authors in a time period.

    Retrieves all authors who have committed changes within the specified
    time period, sorted by commit count (descending). Returns empty list
    if git command fails.

    Args:
        repo_root: Repository root directory.
        since: Time spec for how far back to look (default: "30d"). See parse_time_spec().

    Returns:
        List of author dicts with keys: name, email, commits (count).
        Returns empty list if git command fails.
    """

# The characters that the paths of one command line may take, a separator each included.
_MAX_PATHSPEC_CHARS: int

def resolve_commit(repo_root: Path, name: str) -> str | None:
    """The commit a branch or other revision names.

    A name that starts with ``-`` is no branch (git refuses to create one) and is never handed
    to git, which would read it as an option.

    Args:
        repo_root: Repository root directory.
        name: A branch, tag or commit.

    Returns:
        The full commit id, or None when the name resolves to no commit.
    """

def count_commits(repo_root: Path, base: str, head: str) -> int:
    """How many commits ``head`` has that ``base`` has not (``git rev-list --count base..head``).

    Raises:
        GitError: git failed.
    """

def commit_before(repo_root: Path, ref: str, moment: datetime) -> str | None:
    """The newest commit of ``ref``'s history made at or before ``moment``, if there is one.

    Raises:
        GitError: git failed.
    """

def diff_file_changes(repo_root: Path, base: str, head: str) -> list[FileChange]:
    """The files ``head`` changed since it left ``base`` (``git diff base...head``).

    Raises:
        GitError: git failed.
    """

def log_commit_changes(
    repo_root: Path, *, since: datetime, ref: str | None, max_commits: int
) -> list[CommitChanges]:
    """The commits since a moment, newest first, each with the files it changed.

    Args:
        repo_root: Repository root directory.
        since: The start of the period, local time.
        ref: Whose history to read (a commit id); None for HEAD's.
        max_commits: At most this many commits.

    Raises:
        GitError: git failed.
    """

def diff_line_spans(
    repo_root: Path,
    base: str,
    head: str,
    *,
    merge_base: bool,
    paths: Sequence[str] = (),
    diff_filter: str = "MR",
) -> dict[str, list[LineSpan]]:
    """The lines of each file a diff touched, on the newer side, by path.

    Args:
        repo_root: Repository root directory.
        base: The older side.
        head: The newer side.
        merge_base: Compare ``head`` with where it left ``base`` (``base...head``) rather than
            with ``base`` itself.
        paths: Only these files (each one literal, not a pattern); all files when empty.
        diff_filter: The kinds of change to read (git's ``--diff-filter`` letters).

    Raises:
        GitError: git failed.
    """

def parse_file_changes(output: str) -> list[FileChange]:
    """The files of one diff from its ``--raw --numstat -z`` output, in git's order.

    Args:
        output: What git wrote.

    Returns:
        One entry per file: the status from its raw record, the line counts from its numstat
        record.
    """

def parse_commit_changes(output: str) -> list[CommitChanges]:
    """The commits of a ``git log --format=%x1e%ct --raw --numstat -z`` output, in its order.

    Args:
        output: What git wrote.

    Returns:
        One entry per commit; a commit whose changes git shows none of (a merge) has no files.
    """

def parse_line_spans(patch: str) -> dict[str, list[LineSpan]]:
    """The lines each file of a ``-U0 --no-prefix`` patch touched, on the newer side.

    The lines of a hunk are counted off its header, so a line of content that looks like a
    header (an added ``++ x`` is written ``+++ x``) is never read as one. A deleted file has no
    newer side and no spans.

    Args:
        patch: What git wrote.

    Returns:
        The spans of each file, in the order of its hunks, by path.
    """

def _span(start: int, new_count: int, old_count: int) -> LineSpan:
    """The span of one hunk, from the start and the counts of its header."""

def _file_changes(tokens: Sequence[str]) -> list[FileChange]:
    """The files of a stream of ``--raw`` and ``--numstat`` records (``-z`` tokens)."""

def _line_count(field: str) -> int:
    """A numstat count; ``-`` (a binary file) counts none."""

def _patch_path(text: str) -> str | None:
    """The path of a ``+++`` line: None for ``/dev/null``, a quoted one unquoted.

    Git ends the name with a tab when it holds a space, and quotes it C-style when it holds a
    quote, a backslash or a control character.
    """

def _unquote(text: str) -> str:
    """A name git quoted C-style: escapes undone, octal escapes read as UTF-8 bytes."""

def _path_batches(paths: Sequence[str]) -> list[list[str]]:
    """The paths in runs short enough for one command line, in their order."""

def _git_output(repo_root: Path, args: list[str]) -> str:
    """What a git command printed.

    Raises:
        GitError: The command failed (git's own message), timed out or git is missing.
    """
