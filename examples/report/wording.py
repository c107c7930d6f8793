"""What the text and the page both say, in the same words."""

from collections.abc import Sequence

from report.facts import Report, local_time
from shared.terminal import printable

from orvel_tarnix.utils.git_utils import LineSpan

MAX_SPANS = 12
SHORT_ID = 9


def title(report: Report) -> str:
    """What the files, commits and authors of the report are about."""
    head, older = report.head.name, report.compared_with.name
    if report.compares_branch and report.related:
        return f"What {head} changed since it left {older}"
    if report.compares_branch:
        return f"How {head} differs from {older}, with which it shares no commit"
    if older and report.period:
        return f"What {head} changed since {report.period.start:%Y-%m-%d %H:%M}"
    first = "the oldest commit of this shallow clone" if report.shallow else "its first commit"
    return f"All of {head}'s history, from {first} on"


def facts(report: Report) -> list[tuple[str, str]]:
    """What the report is about, as names and values."""
    branch, base = report.branch or "none checked out", f"none: no {report.default_branch} here"
    if report.base:
        branch += f" (the default branch is {report.default_branch})"
        base = f"{report.base}, {report.ahead:,} ahead, {report.behind:,} behind"
    rows = [
        ("repository", str(report.root)),
        ("branch", branch),
        ("head", str(report.head)),
        ("base", base),
    ]
    if report.period:
        start, end = (f"{time:%Y-%m-%d %H:%M}" for time in (report.period.start, report.period.end))
        rows += [("period", f"from {start} to {end}"), ("begins", report.period.reason)]
    if report.shallow:
        rows.append(("history", "a shallow clone: what is older than its oldest commit is unknown"))
    return [(name, printable(value)) for name, value in rows]


def scope(report: Report) -> str:
    """Which commits are meant: those of the branch or those of the period."""
    if report.compares_branch:
        return f"that {report.compared_with.name} lacks"
    return "in the period"


def commit_count(report: Report) -> int:
    """How many commits there are; a branch can have commits older than git's first date."""
    return report.ahead if report.compares_branch else len(report.commits)


def counted(number: int, noun: str) -> str:
    """A number with its noun in the right form."""
    return f"{number:,} {noun}" + "s" * (number != 1)


def moment(timestamp: int) -> str:
    """A commit's time in local time, or its seconds if datetime cannot represent it."""
    time = local_time(timestamp)
    return f"{time:%Y-%m-%d %H:%M}" if time else f"@{timestamp}"


def span_text(spans: Sequence[LineSpan]) -> str:
    """The lines of the first few spans, as in ``3, 7-8``, and how many spans follow."""
    shown = ", ".join(
        f"{span.start}" if span.start == span.end else f"{span.start}-{span.end}"
        for span in spans[:MAX_SPANS]
    )
    more = len(spans) - MAX_SPANS
    return shown + f" and {counted(more, 'more span')}" * (more > 0)
