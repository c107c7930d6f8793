"""Report what a branch changed, as text, JSON or a page.

    python examples/branch_report.py [REPO] [--base REV] [--head REV] [--since SPEC]
                                     [--json] [--html FILE] [--fetch-missing]

If head has no commits of its own (none that base lacks), the report covers a period: --since, or
the last 30 days up to now or to the newest commit, or the newest commits of a short history. A page
needs Jinja2.
"""

import argparse
import json
import sys
from collections.abc import Iterator
from dataclasses import asdict
from datetime import datetime
from pathlib import Path

from report.facts import Report, by_size
from report.gather import gather, line_counts
from report.text import report_lines
from shared.program import ProgramError, forbid_fetching, run, write_atomically
from shared.terminal import fitting

from orvel_tarnix.utils.git_utils import TIME_SPEC_FORMS, GitError

PAGE_FILES = 100


def main() -> int:
    """Print what the command line asks for and return the exit code."""
    options = _options()
    if not options.fetch_missing:
        forbid_fetching()
    report = gather(options.repo, options.base, options.head, options.since)
    if options.since and report.compares_branch:
        print(
            "branch_report: the branch has commits of its own, so --since is not used",
            file=sys.stderr,
        )
    if options.html:
        write_atomically(options.html, _page(report))
    for line in _output(report, options):
        print(line)
    return 0


def as_json(report: Report) -> str:
    """Every fact of the report; moments are local time."""
    return json.dumps(asdict(report), indent=2, default=_plain)


def _plain(value: Path | datetime) -> str:
    return value.isoformat() if isinstance(value, datetime) else str(value)


def _output(report: Report, options: argparse.Namespace) -> Iterator[str]:
    if options.json:
        yield as_json(report)
    elif options.html:
        yield f"wrote {options.html}"
    else:
        yield from map(fitting, report_lines(report))


def _page(report: Report) -> str:
    try:
        from report.page import report_page  # noqa: PLC0415 - the other reports need no Jinja2
    except ModuleNotFoundError as error:
        raise ProgramError("--html needs Jinja2: python -m pip install jinja2") from error
    largest = by_size(report.files)[:PAGE_FILES]
    return report_page(report, largest, line_counts(report, largest))


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Report what a branch changed.")
    parser.add_argument(
        "repo",
        nargs="?",
        default=".",
        type=Path,
        metavar="REPO",
        help="any directory of the repository (default: this one)",
    )
    parser.add_argument("--base", metavar="REV", help="the older side (default branch)")
    parser.add_argument("--head", metavar="REV", help="the newer side (what is checked out)")
    since_help = f"the period, if the branch has no commits of its own: {TIME_SPEC_FORMS}"
    parser.add_argument("--since", metavar="SPEC", help=since_help)
    parser.add_argument("--json", action="store_true", help="print every fact as JSON")
    parser.add_argument("--html", metavar="FILE", type=Path, help="write the report as a page")
    parser.add_argument(
        "--fetch-missing", action="store_true", help="let git fetch what a partial clone lacks"
    )
    return parser.parse_args()


if __name__ == "__main__":
    run("branch_report", main, GitError)
