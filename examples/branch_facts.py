"""What a branch changed: the facts, gathered through the module's public functions."""

import os
import tempfile
import threading
from collections.abc import Iterator
from contextlib import contextmanager, suppress
from dataclasses import dataclass
from datetime import datetime, timedelta
from pathlib import Path
from typing import Any, BinaryIO

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import CommitChanges, FileChange, LineSpan

USUAL_PERIOD = timedelta(days=30)
# Added, copied, modified, renamed and retyped files: all that have a newer side.
WITH_NEWER_SIDE = "ACMRT"
EVERY_COMMIT = 2**31 - 1

_standard_input = threading.Lock()


class ReportError(Exception):
    """Why there is no report, in one line for a person."""


@dataclass(frozen=True)
class Revision:
    """A commit, and what the reader knows it by."""

    name: str
    commit: str

    def __str__(self) -> str:
        short = self.commit[:12]
        return short if self.name in {"", short, self.commit} else f"{self.name} ({short})"


@dataclass(frozen=True)
class Report:
    """What a branch changed, or what a period did where the branch has nothing of its own."""

    root: Path
    branch: str | None  # none is checked out when HEAD is detached
    default_branch: str
    head: Revision
    base: Revision | None  # none where the default branch is no branch of this repository
    ahead: int
    behind: int
    wiki: Path
    since: str
    period_start: datetime
    # The older side of files and spans, and whether that is the base or a point in time.
    compared_with: Revision
    compares_branch: bool
    authors: list[dict[str, Any]]
    files: list[FileChange]
    spans: dict[str, list[LineSpan]]  # by path; empty for a file without changed lines
    commits: list[CommitChanges]  # of the period, newest first

    @property
    def title(self) -> str:
        """The question the files answer."""
        if self.compares_branch:
            return f"What {self.head.name} changed since it left {self.compared_with.name}"
        if self.compared_with.name:
            return f"What {self.head.name} changed since {self.period_start:%Y-%m-%d %H:%M}"
        return f"All that {self.head.name} holds, from its first commit on"


def gather(
    where: Path, base: str | None = None, head: str | None = None, since: str | None = None
) -> Report:
    """The report on ``head`` (default: HEAD) against ``base`` (default: the default branch).

    Raises:
        ReportError: ``where`` is in no repository, a revision or ``since`` cannot be read.
        git_utils.GitError: git failed.
    """
    root = _root_of(where)
    if head is None and git_utils.get_head_commit(root) is None:
        raise ReportError(f"{root} has no commit yet")
    branch = git_utils.resolve_display_branch(root)
    default_branch = git_utils.get_default_branch(root)
    # From here on git gets commit ids only: a name could be an option or a file to it.
    new = Revision(head or branch or "HEAD", _commit_of(root, head or "HEAD"))
    old = _base_of(root, base, default_branch)
    since = since or _usual_since(root, new.commit)
    start = start_of(since)

    ahead = git_utils.count_commits(root, old.commit, new.commit) if old else 0
    behind = git_utils.count_commits(root, new.commit, old.commit) if old else 0
    if old and ahead:
        older_side = old
    else:
        commit = git_utils.commit_before(root, new.commit, start)
        older_side = Revision(commit[:12], commit) if commit else Revision("", empty_tree(root))
    return Report(
        root=root,
        branch=branch,
        default_branch=default_branch,
        head=new,
        base=old,
        ahead=ahead,
        behind=behind,
        wiki=git_utils.wiki_directory(root, git_utils.normalize_branch_name(head or branch) or ""),
        since=since,
        period_start=start,
        compared_with=older_side,
        compares_branch=ahead > 0,
        authors=_authors(root, new.commit, since, start),
        files=_files(root, older_side, new.commit),
        spans=git_utils.diff_line_spans(
            root,
            older_side.commit,
            new.commit,
            merge_base=bool(older_side.name),
            diff_filter=WITH_NEWER_SIDE,
        ),
        commits=git_utils.log_commit_changes(
            root, since=start, ref=new.commit, max_commits=EVERY_COMMIT
        ),
    )


def start_of(since: str) -> datetime:
    """The moment a time spec names.

    Raises:
        ReportError: It names none.
    """
    try:
        return git_utils.parse_time_spec(since)
    except ValueError as error:
        raise ReportError(str(error)) from error


def empty_tree(root: Path) -> str:
    """What comes before a first commit; git knows this tree without storing it."""
    return _printed(root, ["hash-object", "-t", "tree", os.devnull]).strip()


def size(change: FileChange) -> int:
    """How many lines a change touched."""
    return change.additions + change.deletions


def _root_of(where: Path) -> Path:
    if not where.is_dir():
        raise ReportError(f"{where} is no directory")
    root = git_utils.find_git_root(where)
    if root is None:
        raise ReportError(f"{where} is in no git repository")
    _printed(root, ["rev-parse", "--git-dir"])  # a damaged or distrusted one: git says why
    return root.resolve()


def _commit_of(root: Path, name: str) -> str:
    commit = git_utils.resolve_commit(root, name)
    if commit is None:
        raise ReportError(f"{name!r} names no commit of {root}")
    return commit


def _base_of(root: Path, base: str | None, default_branch: str) -> Revision | None:
    if base is not None:
        return Revision(base, _commit_of(root, base))
    for name in (default_branch, f"origin/{default_branch}"):
        if commit := git_utils.resolve_commit(root, name):
            return Revision(name, commit)
    return None


def _usual_since(root: Path, head: str) -> str:
    """The usual period up to now, or up to the newest commit where all has long been quiet."""
    newest = git_utils.log_commit_changes(root, since=datetime(1970, 1, 2), ref=head, max_commits=1)
    with suppress(ValueError, OverflowError, OSError):  # a date outside the calendar
        last = datetime.fromtimestamp(newest[0].timestamp) if newest else datetime.now()
        if last < datetime.now() - USUAL_PERIOD:
            return (last - USUAL_PERIOD).date().isoformat()
    return f"{USUAL_PERIOD.days}d"


def _files(root: Path, older_side: Revision, head: str) -> list[FileChange]:
    if older_side.name:
        return git_utils.diff_file_changes(root, older_side.commit, head)
    # A tree has no merge base, so the three-dot comparison is not for it.
    records = ["diff", "--raw", "--numstat", "-M", "-z", "--no-textconv", older_side.commit, head]
    return git_utils.parse_file_changes(_printed(root, records))


def _authors(root: Path, head: str, since: str, start: datetime) -> list[dict[str, Any]]:
    """The authors of ``head``'s period.

    Git's author summary reads standard input unless that is a terminal: it would print nothing
    below a service, wait on an open pipe, and answer for HEAD on a terminal. So it is given the
    log of the very commits that are asked about, which it counts by .mailmap as ever.
    """
    log = [
        "log",
        f"--since={start:%Y-%m-%d %H:%M:%S}",
        "--no-show-signature",
        "--format=Author: %an <%ae>%n%n-",
        head,
    ]
    with tempfile.TemporaryFile() as text:
        text.write(_printed(root, log).encode())
        text.seek(0)
        with _as_standard_input(text):
            return git_utils.get_authors_for_period(root, since)


@contextmanager
def _as_standard_input(file: BinaryIO) -> Iterator[None]:
    """Let child processes inherit ``file`` as standard input; one thread at a time."""
    with _standard_input:
        kept = os.dup(0)
        os.dup2(file.fileno(), 0)
        os.set_inheritable(0, True)  # where standard input was closed, the file itself is 0
        try:
            yield
        finally:
            os.dup2(kept, 0)
            os.close(kept)


def _printed(root: Path, args: list[str]) -> str:
    output, error, code = git_utils.run_git_command(root, args)
    if code != 0:
        raise git_utils.GitError(error.strip() or f"git exited with code {code}")
    return output
