"""The report as aligned text for a person."""

from collections.abc import Iterator, Sequence
from datetime import datetime

from branch_facts import Report, size

from orvel_tarnix.utils.git_utils import CommitChanges, FileChange, LineSpan

MOST_FILES = 40
MOST_COMMITS = 20
MOST_AUTHORS = 10
MOST_SPANS = 12


def report_lines(report: Report) -> Iterator[str]:
    """The lines of the report; the long lists end in how many more there are."""
    yield from _heading(report)
    yield ""
    files = sorted(report.files, key=lambda file: (-size(file), file.path))
    added, deleted = total(files)
    yield f"{printable(report.title)}: {counted(len(files), 'file')}, +{added} -{deleted} lines"
    yield from _file_lines(files[:MOST_FILES], report.spans)
    yield from _rest(files, MOST_FILES, "file")
    yield ""
    yield f"Commits of the period: {len(report.commits)}"
    yield from _commit_lines(report.commits[:MOST_COMMITS])
    yield from _rest(report.commits, MOST_COMMITS, "commit")
    yield ""
    yield f"Authors of the period: {len(report.authors)}"
    authors = [
        (str(author["commits"]), printable(f"{author['name']} <{author['email']}>"))
        for author in report.authors
    ]
    yield from (f"  {row}" for row in aligned(authors[:MOST_AUTHORS], ">"))
    yield from _rest(authors, MOST_AUTHORS, "author")


def aligned(rows: Sequence[Sequence[str]], sides: str) -> Iterator[str]:
    """The rows with their columns in line, each to the side given; the last column hangs free."""
    columns = list(zip(*rows, strict=True))[: len(sides)]
    widths = [max(map(len, column)) for column in columns]
    for row in rows:
        cells = [
            f"{cell:{side}{width}}" for cell, side, width in zip(row, sides, widths, strict=False)
        ]
        yield "  ".join([*cells, *row[len(sides) :]]).rstrip()


def total(files: Sequence[FileChange]) -> tuple[int, int]:
    """The added and the deleted lines of all files."""
    return sum(file.additions for file in files), sum(file.deletions for file in files)


def counted(number: int, noun: str) -> str:
    """A number with its noun in the right form."""
    return f"{number:,} {noun}" + "s" * (number != 1)


def printable(text: str) -> str:
    """Text in which no character breaks the line or drives the terminal."""
    return "".join(
        char if char.isprintable() else char.encode("unicode_escape").decode() for char in text
    )


def moment(timestamp: int) -> str:
    """A commit's time in local time; git also keeps times that no calendar has."""
    try:
        return f"{datetime.fromtimestamp(timestamp):%Y-%m-%d %H:%M}"
    except (ValueError, OverflowError, OSError):
        return f"@{timestamp}"


def span_text(span: LineSpan) -> str:
    """The lines as ``3-7`` or ``3``, with a ``+`` ahead where all of them are new."""
    lines = f"{span.start}" if span.start == span.end else f"{span.start}-{span.end}"
    return f"+{lines}" if span.added else lines


def distance(report: Report) -> str:
    """How far head and base are apart."""
    return f"{report.ahead} ahead, {report.behind} behind"


def _heading(report: Report) -> Iterator[str]:
    base = f"{report.base}, {distance(report)}" if report.base else "none"
    facts = [
        ("repository", str(report.root)),
        ("branch", f"{report.branch or 'none'} (default: {report.default_branch})"),
        ("head", str(report.head)),
        ("base", base),
        ("wiki", str(report.wiki.relative_to(report.root))),
        ("period", f"since {report.period_start:%Y-%m-%d %H:%M} ({report.since})"),
    ]
    yield from aligned([(name, printable(value)) for name, value in facts], "<")


def _file_lines(files: Sequence[FileChange], spans: dict[str, list[LineSpan]]) -> Iterator[str]:
    rows = [
        (file.status, f"+{file.additions}", f"-{file.deletions}", _name(file)) for file in files
    ]
    for file, row in zip(files, aligned(rows, "<>>"), strict=True):
        touched = spans.get(file.path, [])
        shown = ", ".join(map(span_text, touched[:MOST_SPANS]))
        if len(touched) <= 1:
            yield f"  {row}" + f"  lines {shown}" * len(touched)
        else:
            more = len(touched) - MOST_SPANS
            yield f"  {row}"
            yield f"      lines {shown}" + f" and {counted(more, 'more span')}" * (more > 0)


def _commit_lines(commits: Sequence[CommitChanges]) -> Iterator[str]:
    rows = []
    for commit in commits:
        added, deleted = total(commit.files)
        files = counted(len(commit.files), "file")
        rows.append((moment(commit.timestamp), files, f"+{added}", f"-{deleted}"))
    yield from (f"  {row}" for row in aligned(rows, "<>>>"))


def _name(file: FileChange) -> str:
    if file.old_path is None:
        return printable(file.path)
    return f"{printable(file.old_path)} -> {printable(file.path)}"


def _rest(items: Sequence[object], shown: int, noun: str) -> Iterator[str]:
    if len(items) > shown:
        yield f"  and {counted(len(items) - shown, f'more {noun}')}"
