"""The report as aligned text for a person."""

from collections.abc import Iterator, Sequence

from report.facts import Commit, Report, by_size, total
from report.wording import (
    SHORT_ID,
    commit_count,
    counted,
    facts,
    moment,
    scope,
    span_text,
    title,
)
from shared.terminal import aligned, printable

from orvel_tarnix.utils.git_utils import FileChange, LineSpan

TEXT_FILES = 20
TEXT_COMMITS = 20
TEXT_AUTHORS = 10


def report_lines(report: Report) -> Iterator[str]:
    """The lines of the report; the long lists end in how many more there are."""
    yield printable(title(report))
    yield from (f"  {row}" for row in aligned(facts(report), "<"))
    yield ""
    yield f"{counted(commit_count(report), 'commit')} {printable(scope(report))}"
    yield from (f"  {row}" for row in aligned(_commit_rows(report.commits[:TEXT_COMMITS]), "<<<"))
    yield from _rest(commit_count(report), TEXT_COMMITS, "commit")
    yield ""
    yield counted(len(report.authors), "author")
    authors = [
        (str(author["commits"]), printable(f"{author['name']} <{author['email']}>"))
        for author in report.authors[:TEXT_AUTHORS]
    ]
    yield from (f"  {row}" for row in aligned(authors, ">"))
    yield from _rest(len(report.authors), TEXT_AUTHORS, "author")
    yield ""
    files = by_size(report.files)
    added, deleted = total(files)
    yield f"{counted(len(files), 'file')}, +{added:,} -{deleted:,} lines"
    yield from _file_lines(files[:TEXT_FILES], report.spans)
    yield from _rest(len(files), TEXT_FILES, "file")


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
