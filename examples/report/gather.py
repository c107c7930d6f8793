"""Gathers what a branch changed, through the module's public functions."""

from collections import Counter
from collections.abc import Sequence
from datetime import datetime
from pathlib import Path
from typing import Any

from report.facts import Commit, Period, Report, Revision
from report.period import EARLIEST, given_period, side_before, usual_period
from shared.git import (
    WITH_NEWER_SIDE,
    ahead_and_behind,
    are_related,
    changed_files,
    differing_files,
    empty_tree,
    printed,
    sides,
    work_tree,
)
from shared.program import ProgramError

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange

EVERY_COMMIT = 2**31 - 1
# What `git log` prints of each commit, with a NUL after each field.
COMMIT_FIELDS = ("%H", "%P", "%ct", "%aN", "%aE", "%s")


def gather(
    where: Path, base: str | None = None, head: str | None = None, since: str | None = None
) -> Report:
    """The report on ``head`` (default: HEAD) against ``base`` (default: the default branch).

    If head has no commits of its own, the report covers a period: from ``since``, or the usual one.
    Raises GitError if git fails, and ProgramError if ``since`` or git's log cannot be parsed.
    """
    root = work_tree(git_utils, where)
    chosen = sides(git_utils, root, base, head)
    new = Revision(chosen.head_name, chosen.head)
    old = Revision(chosen.base_name, chosen.base) if chosen.base else None
    given = given_period(since) if since else None
    ahead, behind = ahead_and_behind(git_utils, root, chosen.base, chosen.head)
    older_side, period, commits = _scope(root, new.commit, old if ahead else None, given)
    pair = older_side.commit, new.commit
    related = are_related(git_utils, root, *pair)
    spans = git_utils.diff_line_spans(root, *pair, merge_base=related, diff_filter=WITH_NEWER_SIDE)
    shallow = printed(git_utils, root, ["rev-parse", "--is-shallow-repository"])
    return Report(
        root=root,
        shallow=shallow.strip() == "true",
        branch=chosen.branch,
        default_branch=chosen.default_branch,
        head=new,
        base=old,
        ahead=ahead,
        behind=behind,
        compared_with=older_side,
        compares_branch=period is None,
        related=related,
        period=period,
        authors=_authors(commits),
        files=changed_files(git_utils, root, *pair),
        spans=spans,
        commits=commits,
    )


def line_counts(report: Report, files: Sequence[FileChange]) -> dict[str, int]:
    """How many lines each of these files has at head: all of them are new to the empty tree."""
    root, nothing = report.root, empty_tree(git_utils, report.root)
    paths = [file.path for file in files]
    whole = differing_files(git_utils, root, nothing, report.head.commit, paths)
    return {file.path: file.additions for file in whole}


def _scope(
    root: Path, head: str, base: Revision | None, given: Period | None
) -> tuple[Revision, Period | None, list[Commit]]:
    """The older side, the period if there is no base to compare with, and the commits since."""
    if base:
        return base, None, _commits(root, f"{base.commit}..{head}", EARLIEST)
    period = given or usual_period(root, head)
    return side_before(root, head, period.start), period, _commits(root, head, period.start)


def _commits(root: Path, history: str, since: datetime) -> list[Commit]:
    """The commits of ``history``: the module's records, and who wrote each by .mailmap."""
    log = [
        "log",
        f"--since={since:%Y-%m-%d %H:%M:%S}",
        "--no-show-signature",
        "--encoding=UTF-8",
        f"--format={'%x00'.join(COMMIT_FIELDS)}",
        "-z",
        history,
    ]
    fields = iter(printed(git_utils, root, log).split("\0")[:-1])
    try:
        changes = git_utils.log_commit_changes(
            root, since=since, ref=history, max_commits=EVERY_COMMIT
        )
        rows = list(zip(*[fields] * len(COMMIT_FIELDS), strict=True))
        # Both logs have one order, but a file name of U+001E and digits looks like a commit, and
        # the module's log is in the encoding that is configured.
        if [int(row[2]) for row in rows] != [change.timestamp for change in changes]:
            raise ProgramError("git's log is ambiguous: see file names, i18n.logOutputEncoding")
    except ValueError as error:
        raise ProgramError(
            "git's log cannot be read: a file name starts with U+001E, or a commit has no date"
        ) from error
    return [
        Commit(commit, tuple(parents.split()), change.timestamp, *who_and_what, change.files)
        for (commit, parents, _, *who_and_what), change in zip(rows, changes, strict=True)
    ]


def _authors(commits: Sequence[Commit]) -> list[dict[str, Any]]:
    """Who wrote how many of the commits, in the records of ``get_authors_for_period``."""
    counts = Counter((commit.author, commit.email) for commit in commits)
    return [
        {"name": name, "email": email, "commits": count}
        for (name, email), count in sorted(counts.items(), key=lambda each: (-each[1], each[0]))
    ]
