"""What the branch checked out changed, asked of many repositories at once.

    python examples/many_repositories.py ROOT... [--scheduler ADDRESS] [--since SPEC]

Without an address the work is spread over a cluster of processes on this machine. Workers of
a real cluster need the module and its host package installed, and to see the same directories.
One repository that cannot be read is reported in its row and makes the exit code 1.
"""

import argparse
import logging
import os
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from pathlib import Path

import branch_facts
from branch_facts import Report, ReportError, start_of
from command_line import run
from distributed import Client, LocalCluster, as_completed
from report_text import aligned, printable, total
from tqdm import tqdm

from orvel_tarnix.utils.git_utils import TIME_SPEC_FORMS

HEADINGS = (
    *("ahead", "behind", "files", "added", "deleted", "commits", "authors"),
    *("branch", "compared with", "repository"),
)


def main() -> int:
    """Print the table that the command line asks for and return the exit code."""
    options = _options()
    if options.since:
        start_of(options.since)  # one bad spec is not many bad repositories
    with _connected(options.scheduler, len(options.roots)) as client:
        answers = ask_all(client, options.roots, options.since)
    rows = [_row(root, answer) for root, answer in answers.items()]
    shown = [[printable(cell) for cell in row] for row in rows]
    print(*aligned([HEADINGS, *shown], ">>>>>>><<"), sep="\n")
    return int(any(isinstance(answer, BaseException) for answer in answers.values()))


def ask_all(
    client: Client, roots: Sequence[Path], since: str | None
) -> dict[Path, Report | BaseException]:
    """The report on each repository, or why there is none.

    The reports come back from the workers as they are: the module's records pickle by name.
    """
    client.upload_file(branch_facts.__file__)
    asked = {
        client.submit(branch_facts.gather, root.absolute(), since=since, pure=False): root
        for root in roots
    }
    done = tqdm(as_completed(asked), total=len(asked), unit=" repositories", disable=None)
    answers = {
        asked[future]: future.exception() if future.status == "error" else future.result()
        for future in done
    }
    return {root: answers[root] for root in roots}


@contextmanager
def _connected(scheduler: str | None, tasks: int) -> Iterator[Client]:
    if scheduler:
        try:
            client = Client(scheduler, timeout=10)
        except ValueError as error:
            raise ReportError(str(error)) from error
        with client:
            yield client
        return
    workers = min(tasks, os.process_cpu_count() or 1)
    # A repository that cannot be read has its row; the workers need not log it as well.
    with (
        LocalCluster(
            n_workers=workers,
            threads_per_worker=1,
            dashboard_address=None,
            silence_logs=logging.CRITICAL,
        ) as cluster,
        Client(cluster) as client,
    ):
        yield client


def _row(root: Path, answer: Report | BaseException) -> tuple[str, ...]:
    if isinstance(answer, BaseException):
        return (*("-" * (len(HEADINGS) - 1)), f"{root}: {str(answer).partition('\n')[0]}")
    return _facts(answer)


def _facts(report: Report) -> tuple[str, ...]:
    added, deleted = total(report.files)
    base = report.compared_with.name if report.compares_branch else f"{report.period_start:%F}"
    return (
        str(report.ahead),
        str(report.behind),
        str(len(report.files)),
        f"+{added}",
        f"-{deleted}",
        str(len(report.commits)),
        str(len(report.authors)),
        report.head.name,
        base,
        str(report.root),
    )


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Report on many repositories at once.")
    parser.add_argument("roots", nargs="+", type=Path, metavar="ROOT", help="a repository each")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a running cluster")
    parser.add_argument("--since", metavar="SPEC", help=f"the period: {TIME_SPEC_FORMS} (30d)")
    return parser.parse_args()


if __name__ == "__main__":
    run("many_repositories", main)
