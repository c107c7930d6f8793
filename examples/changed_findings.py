"""Keep the findings of a linter or scanner on lines that a branch touched.

    ruff check --no-fix --output-format sarif | python examples/changed_findings.py -
    python examples/changed_findings.py [REPO] [--base REV] [--head REV] [--format text|github]
                                        [--sarif OUT] [--fetch-missing] SARIF|-

The findings must come from the files at head. Relative file names are relative to the top of the
repository. The exit code is 1 if a finding is left and 0 if there is none.
"""

import argparse
import gc
import json
import sys
from pathlib import Path

from findings import sarif
from findings.formats import FORMATS
from findings.touched import Touched, touched_spans
from shared.git import sides, work_tree
from shared.program import ProgramError, forbid_fetching, open_input, run, write_atomically

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import GitError


def main() -> int:
    """Print the findings that are left, write them, and return the exit code."""
    options = _options()
    gc.disable()  # it would take a quarter of the time, and a document has no cycles
    if not options.fetch_missing:
        forbid_fetching()
    root = work_tree(git_utils, options.repo)
    compared = sides(git_utils, root, options.base, options.head)
    if compared.base is None:
        raise ProgramError(f"{root}: no branch {compared.base_name} to compare with: give --base")
    if compared.base == compared.head:
        note = "base and head are the same commit, so no line has changed"
        print(f"changed_findings: {note}", file=sys.stderr)
    try:
        with open_input(options.findings) as file:
            document = sarif.read(file.read())
        findings = keep_touched(document, root, compared.base, compared.head)
    except sarif.SarifError as error:
        raise ProgramError(f"{options.findings}: {error}") from error
    if options.sarif:
        write_atomically(options.sarif, json.dumps(document) + "\n")
    for line in FORMATS[options.format](findings):
        print(line)
    return int(bool(findings))


def keep_touched(document: sarif.Json, root: Path, base: str, head: str) -> list[sarif.Finding]:
    """Leave only the findings on touched lines in a document, and return them.

    Raises:
        sarif.SarifError: The document does not have SARIF's structure.
        git_utils.GitError: git failed.
    """
    runs = [sarif.Run(run, root) for run in document["runs"]]
    spans = touched_spans(root, base, head, set().union(*(run.paths for run in runs)))
    touched = {path: Touched(each) for path, each in spans.items()}
    findings: list[sarif.Finding] = []
    for each, read in zip(runs, document["runs"], strict=True):
        kept = list(each.at(touched))
        if "results" in read:
            read["results"] = [finding.result for finding in kept]
        findings += kept
    return findings


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Keep the findings on lines a branch touched.")
    add = parser.add_argument
    add("repo", nargs="?", default=".", type=Path, metavar="REPO", help="(default: this one)")
    add("findings", metavar="SARIF", help="the findings' file (-: standard input)")
    add("--base", metavar="REV", help="the older side (default branch)")
    add("--head", metavar="REV", help="the newer side (what is checked out)")
    add("--sarif", metavar="OUT", type=Path, help="write what is left, as SARIF")
    add("--format", choices=FORMATS, default="text", help="lines, or annotations for GitHub")
    add("--fetch-missing", action="store_true", help="let a partial clone fetch what it lacks")
    return parser.parse_intermixed_args()


if __name__ == "__main__":
    run("changed_findings", main, GitError)
