"""The files, commits and lines that git reports, on a real repository."""

from dataclasses import astuple
from datetime import datetime
from pathlib import Path
from types import ModuleType

import pytest
from compare import native
from conftest import Repository, Runs

NUMBERED = [f"{n}\n" for n in range(1, 21)]
TWENTY = "".join(NUMBERED)
EDITED = ["0\n", *NUMBERED[2:9], "x\n", *NUMBERED[10:15], "n\n", "m\n", *NUMBERED[15:19]]
SPANS = [(1, 1, False), (9, 9, False), (15, 16, True), (20, 20, False)]
# What git is told to show otherwise changes nothing.
CONFIG = ["color.ui=always", "core.quotepath=true", "diff.external=false", "diff.renames=copies"]
CONFIG += ["diff.hostile.textconv=false", "diff.hostile.command=false", "diff.mnemonicPrefix=true"]
CONFIG += ["log.showSignature=true", "diff.context=9", "format.pretty=fuller"]
ODD_NAMES = ["a b", 'quote"d', "back\\slash", "é中😀", "*", ":(top)x", "raw\udcff"]  # no UTF-8
ODD_NAMES += [f"{odd}{place}{odd}z" for odd in '\t\n":\\\x1f é\U0001f600' for place in "xy"]
# By name: before, after, what becomes of it, and the spans of modified and renamed files.
FILES = {
    ".gitattributes": (None, "*.txt diff=hostile\n", "added 1 0", None),
    "edited.txt": (TWENTY, "".join(EDITED), "modified 4 4", SPANS),
    "headers": ("-- x\n@@ -1 +1 @@", "++ b\n++ c", "modified 2 2", [(1, 2, False)]),
    "old name": (TWENTY * 2, None, "", None),
    "new\tname": (None, f"{TWENTY * 2}+++ z\n", "renamed 1 0 old name", [(41, 41, True)]),
    **dict.fromkeys(ODD_NAMES, ("1\n2", "1\n3\n", "modified 1 1", [(2, 2, False)])),
}


def decoded(name: str) -> str:
    """The name as text: what is no UTF-8 is replaced."""
    return name.encode(errors="surrogateescape").decode(errors="replace")


STATUSES = {decoded(name): status for name, (_, _, status, _) in FILES.items() if status}
EXPECTED = {decoded(name): found for name, (*_, found) in FILES.items() if found}


@pytest.fixture
def branched(repository: Repository) -> Repository:
    """Give a repository whose branch topic has changed files in all the ways there are."""
    for setting in CONFIG:
        repository.git("config", *setting.split("="))
    repository.commit({name: before for name, (before, *_) in FILES.items() if before})
    repository.git("switch", "--quiet", "--create", "topic")
    after = {name: after for name, (_, after, *_) in FILES.items()}
    repository.commit(after, date="2026-01-02T00:00:00+00:00")
    repository.git("switch", "--quiet", "main")
    repository.commit({"edited.txt": "of main alone\n"}, date="2026-01-03T00:00:00+00:00")
    return repository


def told(files: list[native.FileChange]) -> dict[str, str]:
    """By path, all else of each file."""
    return {
        each.path: " ".join(map(str, astuple(each)[1:])).removesuffix(" None") for each in files
    }


def spans(root: Path, **options: object) -> dict[str, list[tuple[object, ...]]]:
    found = native.diff_line_spans(root, "main", "topic", **{"merge_base": True} | options)
    return {path: [astuple(each) for each in of_path] for path, of_path in found.items()}


def test_the_files_and_lines_of_a_branch_are_those_of_the_newer_side(branched: Repository) -> None:
    root = branched.root
    assert told(native.diff_file_changes(root, "main", "topic")) == STATUSES
    assert spans(root) == EXPECTED
    assert spans(root, diff_filter="A") == {".gitattributes": [(1, 1, True)]}
    assert spans(root, merge_base=False) == EXPECTED | {"edited.txt": [(1, 20, False)]}
    odd = {decoded(name): EXPECTED[decoded(name)] for name in ODD_NAMES}
    assert spans(root, paths=[*ODD_NAMES, "nowhere"]) == odd
    assert spans(root, paths=["new\tname"]) == {}  # git needs its old name to see that it has one
    since = datetime(2026, 1, 1, 12)
    (commit,) = native.log_commit_changes(root, since=since, ref="topic", max_commits=9)
    assert told(list(commit.files)) == STATUSES


def test_a_path_keeps_its_place_with_the_spans_of_the_later_batch_and_a_failure_ends_all(
    either: ModuleType, answer_runs: Runs, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(either, "_MAX_PATHSPEC_CHARS", 2)
    first = "+++ a\n@@ -1 +1 @@\n-\n+\n+++ b\n@@ -3 +3 @@", "", 0
    answer_runs(first, ("+++ c\n@@ -4 +4 @@\n-\n+\n+++ a\n@@ -5 +5 @@\n", "", 0))
    found = either.diff_line_spans("r", "a", "b", merge_base=True, paths=["a", "a"])
    starts = [(path, [span.start for span in each]) for path, each in found.items()]
    assert starts == [("a", [5]), ("b", [3]), ("c", [4])]
    calls = answer_runs(first, ("+++ b\n@@ -1 +1 @@\n", "broken\n", 1))
    with pytest.raises(either.GitError, match=r"^broken$"):
        either.diff_line_spans("r", "a", "b", merge_base=True, paths=["a", "b", "c"])
    assert [call[-1] for call in calls] == ["a", "b"]
