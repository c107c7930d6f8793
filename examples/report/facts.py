"""What a report is about: records that the text, the page and JSON show."""

from collections.abc import Sequence
from dataclasses import dataclass
from datetime import datetime
from pathlib import Path
from typing import Any

from orvel_tarnix.utils.git_utils import FileChange, LineSpan


@dataclass(frozen=True)
class Revision:
    """A commit and the name to show for it."""

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
    files: tuple[FileChange, ...]  # empty for a merge

    @property
    def is_merge(self) -> bool:
        """Whether it has several parents."""
        return len(self.parents) > 1


@dataclass(frozen=True)
class Report:
    """What changed on a branch, or in a period if the branch has no commits of its own."""

    root: Path
    shallow: bool  # older commits are missing from this clone
    branch: str | None  # None if HEAD is detached
    default_branch: str
    head: Revision
    base: Revision | None  # None if the repository lacks its default branch
    ahead: int
    behind: int
    # The older side of files and spans, and whether that is the base or a point in time.
    compared_with: Revision
    compares_branch: bool
    related: bool  # whether head and what it is compared with have a commit in common
    period: Period | None  # None if a branch is compared
    authors: list[dict[str, Any]]  # of the commits, the busiest first
    files: list[FileChange]
    spans: dict[str, list[LineSpan]]  # by path; files without changed lines are absent
    commits: list[Commit]  # what head has and base lacks, or of the period; newest first


def size(change: FileChange) -> int:
    """How many lines a change touched."""
    return change.additions + change.deletions


def by_size(files: Sequence[FileChange]) -> list[FileChange]:
    """The files, the largest change first."""
    return sorted(files, key=lambda file: (-size(file), file.path))


def total(files: Sequence[FileChange]) -> tuple[int, int]:
    """The added and the deleted lines of all files."""
    return sum(file.additions for file in files), sum(file.deletions for file in files)


def local_time(timestamp: int) -> datetime | None:
    """A commit's time in the local zone; None if datetime cannot represent it."""
    try:
        return datetime.fromtimestamp(timestamp)
    except (ValueError, OverflowError, OSError):
        return None
