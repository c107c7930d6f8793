"""The report as one self-contained HTML page: no script, no network, light and dark."""

from dataclasses import dataclass
from pathlib import Path
from typing import Any

import jinja2
from branch_facts import Report, empty_tree
from report_charts import Mark, commit_chart, span_marks
from report_text import (
    SHORT_ID,
    by_size,
    commit_count,
    counted,
    facts,
    moment,
    printable,
    size,
    span_text,
    title,
    total,
)

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange

MOST_FILES = 100
# The newest commits are shown, and as many as here can be unfolded.
MOST_COMMITS = 12
MOST_FOLDED = 500
MOST_AUTHORS = 12


@dataclass(frozen=True)
class File:
    """A file as the page shows it; bars are in hundredths of the largest change."""

    change: FileChange
    folder: str
    name: str
    added: float
    deleted: float
    lines: str  # empty where a strip would tell nothing
    strip: list[tuple[bool, Mark]]


def report_page(report: Report) -> str:
    """The whole page; the files are the ones that changed most."""
    environment = jinja2.Environment(
        loader=jinja2.FileSystemLoader(Path(__file__).parent),
        autoescape=True,
        undefined=jinja2.StrictUndefined,
        trim_blocks=True,
        lstrip_blocks=True,
        finalize=_shown,
    )
    environment.filters |= {"counted": counted, "moment": moment, "total": total}
    return environment.get_template("report_page.html.jinja").render(
        report=report,
        title=title(report),
        facts=facts(report),
        commit_count=commit_count(report),
        chart=commit_chart(report.commits, report.period),
        files=_files(report),
        short_id=SHORT_ID,
        shown=report.commits[:MOST_COMMITS],
        folded=report.commits[MOST_COMMITS:MOST_FOLDED],
        most_authors=MOST_AUTHORS,
    )


def _shown(value: Any) -> Any:
    """What the template prints: markup and numbers as they are, names without control characters.

    Markup is a str of a subclass.
    """
    return printable(value) if type(value) is str else value


def _files(report: Report) -> list[File]:
    changes = by_size(report.files)[:MOST_FILES]
    lengths = _lengths(report, changes)
    return [_file(report, change, max(1, size(changes[0])), lengths) for change in changes]


def _file(report: Report, change: FileChange, largest: int, lengths: dict[str, int]) -> File:
    spans = report.spans.get(change.path, [])
    if change.status == "added":  # all of its lines are new
        spans = []
    # What git counts no lines of, the spans still tell a little about.
    length = max([lengths.get(change.path, 0), *(span.end for span in spans)])
    folder, slash, name = change.path.rpartition("/")
    return File(
        change=change,
        folder=folder + slash,
        name=name,
        added=100 * change.additions / largest,
        deleted=100 * change.deletions / largest,
        lines=f"of {counted(length, 'line')}: {span_text(spans)}" if spans else "",
        strip=span_marks(spans, length),
    )


def _lengths(report: Report, files: list[FileChange]) -> dict[str, int]:
    """How many lines each file has at head: all of them are new to the empty tree."""
    output, _, _ = git_utils.run_git_command(
        report.root,
        [
            "--literal-pathspecs",
            "diff",
            "--raw",
            "--numstat",
            "-z",
            empty_tree(report.root),
            report.head.commit,
            "--",
            *(file.path for file in files),
        ],
    )
    return {file.path: file.additions for file in git_utils.parse_file_changes(output)}
