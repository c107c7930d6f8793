"""The report as one self-contained HTML page: no script, no network, light and dark."""

from collections.abc import Iterator
from html import escape
from pathlib import Path

from branch_facts import Report, empty_tree, size
from report_charts import commit_chart, size_bar, span_strip
from report_text import counted, distance, printable, total

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange, LineSpan

MOST_FILES = 100
MOST_AUTHORS = 12


def report_page(report: Report) -> str:
    """The whole page; the files are the ones that changed most."""
    return "\n".join(
        [
            "<!doctype html>",
            '<html lang="en">',
            "<head>",
            '<meta charset="utf-8">',
            '<meta name="viewport" content="width=device-width, initial-scale=1">',
            f"<title>{_shown(report.root.name)}: {_shown(report.head.name)}</title>",
            f"<style>\n{Path(__file__).with_suffix('.css').read_text('utf-8')}</style>",
            "</head>",
            "<body>",
            *_heading(report),
            *_files(report),
            *_commits(report),
            *_authors(report),
            "</body>",
            "</html>",
            "",
        ]
    )


def _heading(report: Report) -> Iterator[str]:
    added, deleted = total(report.files)
    yield f"<header><p class=where>{_shown(str(report.root))}</p>"
    yield f"<h1>{_shown(report.title)}</h1>"
    yield "<dl class=facts>"
    for name, value in (
        ("head", str(report.head)),
        ("base", f"{report.base}, {distance(report)}" if report.base else "none"),
        ("branch", f"{report.branch or 'none'} (default: {report.default_branch})"),
        ("period", f"since {report.period_start:%Y-%m-%d %H:%M}"),
        ("wiki", str(report.wiki.relative_to(report.root))),
    ):
        yield f"<div><dt>{name}</dt><dd>{_shown(value)}</dd></div>"
    yield "</dl><ul class=tiles>"
    for number, words, kind in (
        _tile(len(report.files), "file", "changed"),
        (f"+{added:,}", "lines added", "added"),
        (f"\N{MINUS SIGN}{deleted:,}", "lines deleted", "deleted"),
        _tile(len(report.commits), "commit", "in the period"),
        _tile(len(report.authors), "author", "in the period"),
    ):
        yield f'<li><b class="{kind}">{number}</b> {words}</li>'
    yield "</ul></header>"


def _tile(number: int, noun: str, rest: str) -> tuple[str, str, str]:
    digits, _, noun = counted(number, noun).partition(" ")
    return digits, f"{noun} {rest}", ""


def _files(report: Report) -> Iterator[str]:
    files = sorted(report.files, key=lambda file: (-size(file), file.path))
    yield "<section><h2>Files by size of change</h2>"
    if not files:
        yield "<p class=note>No file differs.</p></section>"
        return
    yield (
        "<p class=legend><span><i class=added></i>added</span>"
        "<span><i class=deleted></i>deleted</span>"
        "<span class=gap>along the file: <i class=fresh></i>new lines</span>"
        "<span><i class=touched></i>lines replaced, or next to a deletion</span></p>"
    )
    yield "<ol class=files>"
    lengths = _lengths(report, files[:MOST_FILES])
    for file in files[:MOST_FILES]:
        spans = report.spans.get(file.path, [])
        # What git counts no lines of, the spans still tell a little about.
        length = max([lengths.get(file.path, 0), *(span.end for span in spans)])
        yield from _file(file, spans, length, size(files[0]))
    yield "</ol>"
    if len(files) > MOST_FILES:
        yield f"<p class=note>and {counted(len(files) - MOST_FILES, 'smaller change')}</p>"
    yield "</section>"


def _file(file: FileChange, spans: list[LineSpan], length: int, largest: int) -> Iterator[str]:
    folder, slash, name = printable(file.path).rpartition("/")
    yield f'<li class="file"><span class="status {file.status}">{file.status}</span>'
    yield f"<span class=name><small>{escape(folder + slash)}</small>{escape(name)}"
    if file.old_path is not None:
        yield f"<small class=old>was {_shown(file.old_path)}</small>"
    yield "</span>"
    yield size_bar(file, largest)
    yield f"<span class=counts><b class=added>+{file.additions:,}</b>"
    yield f"<b class=deleted>\N{MINUS SIGN}{file.deletions:,}</b></span>"
    if spans:
        yield span_strip(spans, length)
        yield f"<span class=length>{counted(length, 'line')}</span>"
    yield "</li>"


def _commits(report: Report) -> Iterator[str]:
    yield "<section><h2>Commits over time</h2>"
    if report.commits:
        yield from commit_chart(report.commits, report.period_start)
    else:
        yield f"<p class=note>None since {report.period_start:%Y-%m-%d %H:%M}.</p>"
    yield "</section>"


def _authors(report: Report) -> Iterator[str]:
    if not report.authors:
        return
    most = report.authors[0]["commits"]
    yield "<section><h2>Authors of the period</h2><ol class=authors>"
    for author in report.authors[:MOST_AUTHORS]:
        share = 100 * author["commits"] / most
        yield f"<li><span>{_shown(author['name'])} <small>{_shown(author['email'])}</small></span>"
        yield f'<span class=bar><i style="width:{share:.2f}%"></i></span>'
        yield f"<b>{author['commits']:,}</b></li>"
    yield "</ol>"
    if len(report.authors) > MOST_AUTHORS:
        yield f"<p class=note>and {counted(len(report.authors) - MOST_AUTHORS, 'more author')}</p>"
    yield "</section>"


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


def _shown(text: str) -> str:
    return escape(printable(text))
