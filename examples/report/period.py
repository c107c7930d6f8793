"""The period of a report on a branch without commits of its own."""

from datetime import datetime, timedelta
from pathlib import Path

from report.facts import Period, Revision, local_time
from shared.git import empty_tree, printed
from shared.program import ProgramError

from orvel_tarnix.utils import git_utils

USUAL_PERIOD = timedelta(days=30)
# If the usual period holds the whole history, the report covers this many commits instead.
MIN_COMMITS = 10
# Git misparses years outside 1970-2099.
EARLIEST = max(datetime.fromtimestamp(0), datetime(1970, 1, 1))
LATEST = datetime(2099, 12, 31)


def given_period(since: str) -> Period:
    """The period from the moment that a time spec names up to now.

    Raises:
        ProgramError: It is invalid, or outside the dates that git can parse.
    """
    try:
        start = git_utils.parse_time_spec(since)
    except ValueError as error:
        raise ProgramError(str(error)) from error
    if not EARLIEST <= start <= LATEST:
        raise ProgramError(f"since must be from {EARLIEST:%Y-%m-%d} to {LATEST:%Y-%m-%d}")
    return Period(start, max(start, datetime.now()), f"as --since={since} says")


def usual_period(root: Path, head: str) -> Period:
    """The usual period up to now, to the newest commit, or that of the last few commits."""
    stamps = printed(
        git_utils, root, ["rev-list", "--timestamp", f"--max-count={MIN_COMMITS}", head]
    ).splitlines()
    newest = [local_time(int(line.split()[0])) for line in stamps]
    times = [time for time in newest if time and EARLIEST <= time <= LATEST]
    now, days = datetime.now(), USUAL_PERIOD.days
    period = Period(now - USUAL_PERIOD, now, f"{days} days ago, as usual")
    if times and max(times) < period.start:
        start, end = max(max(times) - USUAL_PERIOD, EARLIEST), max(times)
        start = start.replace(second=0, microsecond=0)
        period = Period(start, end, f"{days} days before the newest commit")
    if len(times) == MIN_COMMITS and not side_before(root, head, period.start).name:
        reason = f"with the newest {MIN_COMMITS} commits: the whole history is within {days} days"
        period = Period(min(times), period.end, reason)
    return period


def side_before(root: Path, head: str, start: datetime) -> Revision:
    """The newest commit before a moment, or a revision without a name: the empty tree."""
    second = timedelta(seconds=1)  # git counts whole seconds, and the moment itself as before
    commit = None
    if start - EARLIEST >= second:
        commit = git_utils.commit_before(root, head, start - second)
    return Revision(commit[:12], commit) if commit else Revision("", empty_tree(git_utils, root))
