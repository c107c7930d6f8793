"""The findings of a linter or scanner on the lines that a branch touched, and on no others.

    ruff check --output-format sarif | python examples/changed_findings.py -
    python examples/changed_findings.py [REPO] [--base REV] [--head REV] [--sarif OUT] SARIF|-

The findings are those of the files as head has them. Relative names of files are relative to
the top of the repository. The exit code is 1 when a finding is left and 0 when there is none.
"""

import argparse
import json
import sys
from bisect import bisect_left
from collections.abc import Iterable, Iterator, Sequence
from pathlib import Path

import sarif
from branch_facts import WITH_NEWER_SIDE, ReportError
from command_line import forbid_fetching, run
from report_text import aligned, printable
from repository_row import default_base, printed

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange, LineSpan

# So many characters of names the module gives to one run of git.
NAMES_OF_A_RUN = 16_000

type Spans = dict[str, list[LineSpan]]


def main() -> int:
    """Print the findings that are left, write them, and return the exit code."""
    options = _options()
    if not options.fetch_missing:
        forbid_fetching()
    root = _root_of(options.repo)
    base, head = _sides(root, options.base, options.head)
    try:
        document = sarif.read(_bytes(options.findings))
        lines = keep_touched(document, root, base, head)
    except sarif.SarifError as error:
        raise ReportError(f"{options.findings}: {error}") from error
    if options.sarif:
        options.sarif.write_text(json.dumps(document, indent=2) + "\n", "utf-8")
    print(*aligned(lines, "<<"), sep="\n", end="\n" * bool(lines))
    return int(bool(lines))


def keep_touched(
    document: sarif.Json, root: Path, base: str, head: str
) -> list[tuple[str, str, str]]:
    """Leave only the findings on touched lines in a document; where, what and why they are.

    Raises:
        sarif.SarifError: The document is of another shape than SARIF has it.
        git_utils.GitError: git failed.
    """
    runs = [sarif.Run(run, root) for run in document["runs"]]
    spans = touched_spans(root, base, head, set().union(*(run.paths for run in runs)))
    touched = {path: Touched(each) for path, each in spans.items()}
    lines = []
    for each, read in zip(runs, document["runs"], strict=True):
        kept = list(each.at(touched))
        if "results" in read:
            read["results"] = [finding.result for finding in kept]
        lines += map(_line, kept)
    return lines


class Touched:
    """The lines of a file that a diff touched."""

    def __init__(self, spans: Sequence[LineSpan]) -> None:
        self._starts = [span.start for span in spans]
        self._ends = [span.end for span in spans]

    def meet(self, start: int, end: float) -> bool:
        """Whether any of them is one of these."""
        following = bisect_left(self._ends, start)
        return following < len(self._ends) and self._starts[following] <= end


def touched_spans(root: Path, base: str, head: str, paths: set[str]) -> Spans:
    """The lines of these files that ``head`` touched since it left ``base``."""
    changes = git_utils.diff_file_changes(root, base, head)
    spans: Spans = {}
    for names in _together(change for change in changes if change.path in paths):
        spans |= git_utils.diff_line_spans(
            root, base, head, merge_base=True, paths=names, diff_filter=WITH_NEWER_SIDE
        )
    return spans


def _together(changes: Iterable[FileChange]) -> Iterator[list[str]]:
    """The names of changed files, as many as one run of git gets.

    To git a renamed file is one only beside its old name: alone, all of it would be new. So the
    two are not left to different runs.
    """
    names: list[str] = []
    size = 0
    for change in changes:
        both = [change.path] if change.old_path is None else [change.old_path, change.path]
        more = sum(len(name) + 1 for name in both)
        if names and size + more > NAMES_OF_A_RUN:
            yield names
            names, size = [], 0
        names += both
        size += more
    if names:
        yield names


def _root_of(where: Path) -> Path:
    root = git_utils.find_git_root(where) if where.is_dir() else None
    if root is None:
        raise ReportError(f"{where} is in no git repository")
    printed(git_utils, root, ["rev-parse", "--git-dir"])  # a damaged one: git says why
    return root


def _sides(root: Path, base: str | None, head: str | None) -> tuple[str, str]:
    """The commits to compare: git gets ids only, since a name could be an option to it."""
    default, commit = (base, None) if base else default_base(git_utils, root)
    old = commit or git_utils.resolve_commit(root, default)
    new = git_utils.resolve_commit(root, head or "HEAD")
    for name, found in ((default, old), (head or "HEAD", new)):
        if found is None:
            raise ReportError(f"{name!r} names no commit of {root}")
    return str(old), str(new)


def _bytes(source: str) -> bytes:
    return sys.stdin.buffer.read() if source == "-" else Path(source).read_bytes()


def _line(finding: sarif.Finding) -> tuple[str, str, str]:
    place, rule, message = (
        f"{finding.path}:{finding.line}:",
        f"{finding.rule}:",
        " ".join(finding.message.split()),
    )
    return printable(place), printable(rule), printable(message)


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Keep the findings on lines a branch touched.")
    add = parser.add_argument
    add("repo", nargs="?", default=".", type=Path, metavar="REPO", help="(default: this one)")
    add("findings", metavar="SARIF", help="the findings' file (-: standard input)")
    add("--base", metavar="REV", help="the older side (default branch)")
    add("--head", metavar="REV", help="the newer side (what is checked out)")
    add("--sarif", metavar="OUT", type=Path, help="write what is left, as SARIF")
    add("--fetch-missing", action="store_true", help="let a partial clone fetch what it lacks")
    return parser.parse_intermixed_args()


if __name__ == "__main__":
    run("changed_findings", main)
