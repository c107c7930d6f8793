"""The report as aligned text for a person."""

import unicodedata
from collections.abc import Iterator, Sequence

from branch_facts import Commit, Report, local_time

from orvel_tarnix.utils.git_utils import FileChange, LineSpan

MOST_FILES = 20
MOST_COMMITS = 20
MOST_AUTHORS = 10
MOST_SPANS = 12
SHORT_ID = 9


def report_lines(report: Report) -> Iterator[str]:
    """The lines of the report; the long lists end in how many more there are."""
    yield printable(title(report))
    yield from (f"  {row}" for row in aligned(facts(report), "<"))
    yield ""
    yield f"{counted(commit_count(report), 'commit')}{_beyond(report)}"
    yield from (f"  {row}" for row in aligned(_commit_rows(report.commits[:MOST_COMMITS]), "<<<"))
    yield from _rest(commit_count(report), MOST_COMMITS, "commit")
    yield ""
    yield counted(len(report.authors), "author")
    authors = [
        (str(author["commits"]), printable(f"{author['name']} <{author['email']}>"))
        for author in report.authors[:MOST_AUTHORS]
    ]
    yield from (f"  {row}" for row in aligned(authors, ">"))
    yield from _rest(len(report.authors), MOST_AUTHORS, "author")
    yield ""
    files = by_size(report.files)
    added, deleted = total(files)
    yield f"{counted(len(files), 'file')}, +{added:,} -{deleted:,} lines"
    yield from _file_lines(files[:MOST_FILES], report.spans)
    yield from _rest(len(files), MOST_FILES, "file")


def title(report: Report) -> str:
    """The question that files, commits and authors answer."""
    head, older = report.head.name, report.compared_with.name
    if report.compares_branch and report.related:
        return f"What {head} changed since it left {older}"
    if report.compares_branch:
        return f"How {head} differs from {older}, with which it shares no commit"
    if older and report.period:
        return f"What {head} changed since {report.period.start:%Y-%m-%d %H:%M}"
    first = "the oldest commit of this shallow clone" if report.shallow else "its first commit"
    return f"All that {head} holds, from {first} on"


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


def aligned(rows: Sequence[Sequence[str]], sides: str) -> Iterator[str]:
    """The rows with their columns in line, each to the side given; the last column hangs free."""
    columns = list(zip(*rows, strict=True))[: len(sides)]
    widths = [max(map(width, column)) for column in columns]
    for row in rows:
        cells = []
        for cell, side, wide in zip(row, sides, widths, strict=False):
            space = " " * (wide - width(cell))
            cells.append(cell + space if side == "<" else space + cell)
        yield "  ".join([*cells, *row[len(sides) :]]).rstrip()


def width(text: str) -> int:
    """How many columns of a terminal a text takes."""
    return sum(
        0 if unicodedata.combining(char) else 1 + (unicodedata.east_asian_width(char) in "FW")
        for char in text
    )


def cut(line: str, columns: int) -> str:
    """A line that fits a terminal, with an ellipsis where its end is missing."""
    if width(line) <= columns:
        return line
    while width(line) >= columns:
        line = line[:-1]
    return f"{line}\N{HORIZONTAL ELLIPSIS}"


def size(change: FileChange) -> int:
    """How many lines a change touched."""
    return change.additions + change.deletions


def by_size(files: Sequence[FileChange]) -> list[FileChange]:
    """The files, the largest change first."""
    return sorted(files, key=lambda file: (-size(file), file.path))


def total(files: Sequence[FileChange]) -> tuple[int, int]:
    """The added and the deleted lines of all files."""
    return sum(file.additions for file in files), sum(file.deletions for file in files)


def commit_count(report: Report) -> int:
    """How many commits there are; a branch can have some of before git's first date."""
    return report.ahead if report.compares_branch else len(report.commits)


def counted(number: int, noun: str) -> str:
    """A number with its noun in the right form."""
    return f"{number:,} {noun}" + "s" * (number != 1)


def printable(text: str) -> str:
    """Text in which no character breaks the line or drives the terminal."""
    return "".join(
        char if char.isprintable() else char.encode("unicode_escape").decode() for char in text
    )


def moment(timestamp: int) -> str:
    """A commit's time in local time, or its bare seconds where no calendar has it."""
    time = local_time(timestamp)
    return f"{time:%Y-%m-%d %H:%M}" if time else f"@{timestamp}"


def span_text(spans: Sequence[LineSpan]) -> str:
    """The lines of the first few spans, as in ``3, 7-8``, and how many spans follow."""
    shown = ", ".join(
        f"{span.start}" if span.start == span.end else f"{span.start}-{span.end}"
        for span in spans[:MOST_SPANS]
    )
    more = len(spans) - MOST_SPANS
    return shown + f" and {counted(more, 'more span')}" * (more > 0)


def _beyond(report: Report) -> str:
    if report.compares_branch:
        return f" that {printable(report.compared_with.name)} lacks"
    return " in the period"


def _commit_rows(commits: Sequence[Commit]) -> list[tuple[str, ...]]:
    """What matters most comes first: a terminal may cut the end."""
    rows = []
    for commit in commits:
        added, deleted = total(commit.files)
        size_of = f"{counted(len(commit.files), 'file')}, +{added} -{deleted}"
        subject = printable(commit.subject)
        words = f"merge: {subject}" if commit.is_merge else f"{subject} ({size_of})"
        day = moment(commit.timestamp).partition(" ")[0]
        rows.append((day, commit.id[:SHORT_ID], printable(commit.author), words))
    return rows


def _file_lines(files: Sequence[FileChange], spans: dict[str, list[LineSpan]]) -> Iterator[str]:
    rows = [
        (file.status, f"+{file.additions}", f"-{file.deletions}", _name(file)) for file in files
    ]
    for file, row in zip(files, aligned(rows, "<>>"), strict=True):
        yield f"  {row}"
        touched = spans.get(file.path, [])
        if touched and file.status != "added":  # all lines of an added file are new
            yield f"      lines {span_text(touched)}"


def _name(file: FileChange) -> str:
    if file.old_path is None:
        return printable(file.path)
    return f"{printable(file.old_path)} -> {printable(file.path)}"


def _rest(number: int, shown: int, noun: str) -> Iterator[str]:
    if number > shown:
        yield f"  and {counted(number - shown, f'more {noun}')}"
