"""What a branch changed: the facts, gathered through the module's public functions."""

import os
from collections import Counter
from collections.abc import Sequence
from dataclasses import dataclass
from datetime import datetime, timedelta
from pathlib import Path
from typing import Any

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange, LineSpan

USUAL_PERIOD = timedelta(days=30)
# Where that holds the whole history, the period begins with this many commits instead.
YOUNG = 10
# What git reads right as a date: before and after, it takes the year for something else.
EARLIEST = max(datetime.fromtimestamp(0), datetime(1970, 1, 1))
LATEST = datetime(2099, 12, 31)
# Added, copied, modified, renamed and retyped files: all that have a newer side.
WITH_NEWER_SIDE = "ACMRT"
EVERY_COMMIT = 2**31 - 1


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
class Period:
    """From when to when, and why it begins where it does."""

    start: datetime
    end: datetime
    reason: str


@dataclass(frozen=True)
class Commit:
    """One commit and what it changed; its author as .mailmap has them."""

    id: str
    parents: tuple[str, ...]
    timestamp: int
    author: str
    email: str
    subject: str
    files: tuple[FileChange, ...]  # none of a merge

    @property
    def is_merge(self) -> bool:
        """Whether it joins histories."""
        return len(self.parents) > 1


@dataclass(frozen=True)
class Report:
    """What a branch changed, or what a period did where the branch has nothing of its own."""

    root: Path
    shallow: bool  # older commits are missing from this clone
    branch: str | None  # none is checked out when HEAD is detached
    default_branch: str
    head: Revision
    base: Revision | None  # none where the default branch is no branch of this repository
    ahead: int
    behind: int
    # The older side of files and spans, and whether that is the base or a point in time.
    compared_with: Revision
    compares_branch: bool
    related: bool  # whether head and what it is compared with have a commit in common
    period: Period | None  # none where a branch is compared
    authors: list[dict[str, Any]]  # of the commits, the busiest first
    files: list[FileChange]
    spans: dict[str, list[LineSpan]]  # by path; empty for a file without changed lines
    commits: list[Commit]  # what head has and base lacks, or of the period; newest first

    @property
    def period_start(self) -> datetime | None:
        """When the period begins, where the report is on one."""
        return self.period and self.period.start


def gather(
    where: Path, base: str | None = None, head: str | None = None, since: str | None = None
) -> Report:
    """The report on ``head`` (default: HEAD) against ``base`` (default: the default branch).

    Where head has no commit that base lacks, it is on the period that ``since`` names.

    Raises:
        ReportError: ``where`` is in no repository, a revision or ``since`` cannot be read.
        git_utils.GitError: git failed.
    """
    root = _root_of(where)
    branch = git_utils.resolve_display_branch(root)
    default_branch = git_utils.get_default_branch(root)
    # From here on git gets commit ids only: a name could be an option or a file to it.
    new = _head_of(root, head, branch)
    old = _base_of(root, base, default_branch)
    given = _given_period(since) if since else None

    ahead = git_utils.count_commits(root, old.commit, new.commit) if old else 0
    behind = git_utils.count_commits(root, new.commit, old.commit) if old else 0
    if old and ahead:
        period, older_side = None, old
        commits = _commits(root, f"{old.commit}..{new.commit}", EARLIEST)
    else:
        period = given or _usual_period(root, new.commit)
        older_side = _side_ahead_of(root, new.commit, period.start)
        commits = _commits(root, new.commit, period.start)
    related = _are_related(root, older_side, new)
    return Report(
        root=root,
        shallow=_printed(root, ["rev-parse", "--is-shallow-repository"]).strip() == "true",
        branch=branch,
        default_branch=default_branch,
        head=new,
        base=old,
        ahead=ahead,
        behind=behind,
        compared_with=older_side,
        compares_branch=period is None,
        related=related,
        period=period,
        authors=_authors(commits),
        files=_files(root, older_side.commit, new.commit, related),
        spans=_spans(root, older_side.commit, new.commit, related),
        commits=commits,
    )


def start_of(since: str) -> datetime:
    """The moment a time spec names.

    Raises:
        ReportError: It names none, or one that git cannot be asked for.
    """
    try:
        start = git_utils.parse_time_spec(since)
    except ValueError as error:
        raise ReportError(str(error)) from error
    if not EARLIEST <= start <= LATEST:
        raise ReportError(f"since must be from {EARLIEST:%Y-%m-%d} to {LATEST:%Y-%m-%d}")
    return start


def empty_tree(root: Path) -> str:
    """What comes before a first commit; git knows this tree without storing it."""
    return _printed(root, ["hash-object", "-t", "tree", os.devnull]).strip()


def local_time(timestamp: int) -> datetime | None:
    """A commit's time here; git also keeps times that no calendar has."""
    try:
        return datetime.fromtimestamp(timestamp)
    except (ValueError, OverflowError, OSError):
        return None


def _root_of(where: Path) -> Path:
    if not where.is_dir():
        raise ReportError(f"{where} is no directory")
    bare, _, _ = git_utils.run_git_command(where, ["rev-parse", "--is-bare-repository"])
    if bare.strip() == "true":
        raise ReportError(f"{where} is a bare repository: name a work tree or a clone of it")
    root = git_utils.find_git_root(where)
    if root is None:
        raise ReportError(f"{where} is in no git repository")
    _printed(root, ["rev-parse", "--git-dir"])  # a damaged or distrusted one: git says why
    return root.resolve()


def _head_of(root: Path, head: str | None, branch: str | None) -> Revision:
    if head is not None:
        return Revision(head, _commit_of(root, head))
    tip = git_utils.get_head_commit(root, short=False)
    if tip is None and branch is None:
        raise ReportError(f"{root} is damaged: its HEAD names no commit")
    if tip is None:
        raise ReportError(f"{root} has no commit on {branch} yet")
    if git_utils.resolve_commit(root, tip) is None:
        raise ReportError(f"{root} is damaged: it lacks the commit {tip} that is checked out")
    return Revision(branch or "HEAD", tip)


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


def _are_related(root: Path, old: Revision, new: Revision) -> bool:
    return git_utils.run_git_command(root, ["merge-base", old.commit, new.commit])[2] == 0


def _given_period(since: str) -> Period:
    start = start_of(since)
    return Period(start, max(start, datetime.now()), f"as --since={since} says")


def _usual_period(root: Path, head: str) -> Period:
    """The usual period up to now, to the newest commit, or that of the last few commits."""
    stamps = _printed(root, ["rev-list", "--timestamp", f"--max-count={YOUNG}", head])
    newest = [local_time(int(line.split()[0])) for line in stamps.splitlines()]
    times = [time for time in newest if time and EARLIEST <= time <= LATEST]
    now, days = datetime.now(), USUAL_PERIOD.days
    period = Period(now - USUAL_PERIOD, now, f"{days} days ago, as usual")
    if times and max(times) < period.start:
        start, end = max(max(times) - USUAL_PERIOD, EARLIEST), max(times)
        start = start.replace(second=0, microsecond=0)
        period = Period(start, end, f"{days} days before the newest commit")
    if len(times) == YOUNG and not _side_ahead_of(root, head, period.start).name:
        reason = f"with the newest {YOUNG} commits, as the whole history lies within {days} days"
        period = Period(min(times), period.end, reason)
    return period


def _side_ahead_of(root: Path, head: str, start: datetime) -> Revision:
    """The newest commit of before the period, or none and the empty tree."""
    second = timedelta(seconds=1)  # git counts whole ones, and the moment itself as before
    commit = None
    if start - EARLIEST >= second:
        commit = git_utils.commit_before(root, head, start - second)
    return Revision(commit[:12], commit) if commit else Revision("", empty_tree(root))


def _commits(root: Path, history: str, since: datetime) -> list[Commit]:
    """The commits of ``history``: what the module tells of each, and who wrote it by .mailmap."""
    changes = git_utils.log_commit_changes(root, since=since, ref=history, max_commits=EVERY_COMMIT)
    log = [
        "log",
        f"--since={since:%Y-%m-%d %H:%M:%S}",
        "--no-show-signature",
        "--encoding=UTF-8",
        "--format=%H%x00%P%x00%ct%x00%aN%x00%aE%x00%s",
        "-z",
        history,
    ]
    fields = iter(_printed(root, log).split("\0")[:-1])
    rows = list(zip(*[fields] * 6, strict=True))
    # Git gives both in one order. But a file name of U+001E and digits looks like a commit, and
    # the module's log has the encoding that is configured.
    if [int(row[2]) for row in rows] != [change.timestamp for change in changes]:
        raise ReportError("git's log is ambiguous: see names of files, i18n.logOutputEncoding")
    return [
        Commit(commit, tuple(parents.split()), change.timestamp, *who_and_what, change.files)
        for (commit, parents, _, *who_and_what), change in zip(rows, changes, strict=True)
    ]


def _authors(commits: Sequence[Commit]) -> list[dict[str, Any]]:
    """Who wrote how many of the commits, as ``get_authors_for_period`` tells it for HEAD."""
    counts = Counter((commit.author, commit.email) for commit in commits)
    return [
        {"name": name, "email": email, "commits": count}
        for (name, email), count in sorted(counts.items(), key=lambda each: (-each[1], each[0]))
    ]


def _files(root: Path, older_side: str, head: str, related: bool) -> list[FileChange]:
    if related:
        return git_utils.diff_file_changes(root, older_side, head)
    # Without a commit in common there is no merge base, which the module's function asks for.
    records = ["diff", "--raw", "--numstat", "-M", "-z", "--no-textconv", older_side, head]
    return git_utils.parse_file_changes(_printed(root, records))


def _spans(root: Path, older_side: str, head: str, related: bool) -> dict[str, list[LineSpan]]:
    return git_utils.diff_line_spans(
        root, older_side, head, merge_base=related, diff_filter=WITH_NEWER_SIDE
    )


def _printed(root: Path, args: list[str]) -> str:
    output, error, code = git_utils.run_git_command(root, args)
    if code != 0:
        raise git_utils.GitError(error.strip() or f"git exited with code {code}")
    return output
