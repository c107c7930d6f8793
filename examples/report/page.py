"""The report as one self-contained HTML page: no script, no network, light and dark."""

from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import jinja2
from report.charts import Mark, commit_chart, span_marks
from report.facts import Report, size, total
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
from shared.terminal import printable

from orvel_tarnix.utils.git_utils import FileChange, LineSpan

PAGE_COMMITS = 500
UNFOLDED_COMMITS = 12  # the newest; the rest of the page's commits is folded
PAGE_AUTHORS = 12


@dataclass(frozen=True)
class File:
    """A file as the page shows it; bars are in percent of the largest change."""

    change: FileChange
    folder: str
    name: str
    added: float
    deleted: float
    lines: str  # empty if the file has no strip
    strip: list[tuple[bool, Mark]]


def report_page(
    report: Report, largest: Sequence[FileChange], line_counts: Mapping[str, int]
) -> str:
    """The whole page, with the largest changes and how many lines each of their files has."""
    environment = jinja2.Environment(
        loader=jinja2.FileSystemLoader(Path(__file__).parent),
        autoescape=True,
        undefined=jinja2.StrictUndefined,
        trim_blocks=True,
        lstrip_blocks=True,
        finalize=_shown,
    )
    environment.filters |= {"counted": counted, "moment": moment, "total": total}
    most = max(1, size(largest[0])) if largest else 1
    files = [
        _file(change, report.spans.get(change.path, []), line_counts.get(change.path, 0), most)
        for change in largest
    ]
    return environment.get_template("page.html.jinja").render(
        report=report,
        title=title(report),
        facts=facts(report),
        commit_count=commit_count(report),
        scope=scope(report),
        chart=commit_chart(report.commits, report.period),
        files=files,
        short_id=SHORT_ID,
        shown=report.commits[:UNFOLDED_COMMITS],
        folded=report.commits[UNFOLDED_COMMITS:PAGE_COMMITS],
        most_authors=PAGE_AUTHORS,
    )


def _shown(value: Any) -> Any:
    """What the template prints: markup and numbers as they are, names without control characters.

    Markup is a str of a subclass.
    """
    return printable(value) if type(value) is str else value


def _file(change: FileChange, spans: Sequence[LineSpan], line_count: int, largest: int) -> File:
    if change.status == "added":  # all of its lines are new
        spans = []
    # Where git counts no lines, the spans still show how long the file is at least.
    length = max([line_count, *(span.end for span in spans)])
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
