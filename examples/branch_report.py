"""What a branch changed, read from a repository, for a person to read.

    python examples/branch_report.py [REPO] [--base REV] [--head REV] [--since SPEC]
                                     [--json] [--html FILE] [--fetch-missing]

Where head has nothing that base lacks, the report is on the period instead.
"""

import argparse
import json
from collections.abc import Iterator
from dataclasses import asdict
from pathlib import Path
from typing import Any

from branch_facts import Report, gather
from command_line import forbid_fetching, run
from report_page import report_page
from report_text import report_lines

from orvel_tarnix.utils.git_utils import TIME_SPEC_FORMS


def main() -> int:
    """Print what the command line asks for and return the exit code."""
    options = _options()
    if not options.fetch_missing:
        forbid_fetching()
    report = gather(options.repo, options.base, options.head, options.since)
    if options.html:
        options.html.write_text(report_page(report), "utf-8", "replace")
    for line in _output(report, options):
        print(line)
    return 0


def as_json(report: Report) -> dict[str, Any]:
    """The facts of the report in JSON's own types."""
    facts = asdict(report)
    facts |= {"root": str(report.root), "wiki": str(report.wiki)}
    facts["period_start"] = report.period_start.isoformat()
    return facts


def _output(report: Report, options: argparse.Namespace) -> Iterator[str]:
    if options.json:
        yield json.dumps(as_json(report), indent=2)
    elif options.html:
        yield f"wrote {options.html}"
    else:
        yield from report_lines(report)


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
    parser.add_argument("--since", metavar="SPEC", help=f"the period: {TIME_SPEC_FORMS} (30d)")
    parser.add_argument("--json", action="store_true", help="print every fact as JSON")
    parser.add_argument("--html", metavar="FILE", type=Path, help="write the report as a page")
    parser.add_argument(
        "--fetch-missing", action="store_true", help="let git fetch what a partial clone lacks"
    )
    return parser.parse_args()


if __name__ == "__main__":
    run("branch_report", main)
