"""Files, commits and lines read from real git, and from several runs of it."""

from dataclasses import astuple
from datetime import datetime
from pathlib import Path
from types import ModuleType

import pytest
from compare import native
from conftest import FakeGitResults, Repository

# Characters that git quotes, escapes, reads as a pattern, or stores in another width.
ODD_CHARACTERS = '\t\n":\\\x1f é\U0001f600'
ODD_NAMES = [
    "a b",
    'quote"d',
    "back\\slash",
    "é中😀",
    "*",
    ":(top)x",
    "raw\udcff",  # a byte that is not UTF-8
    *(f"{odd}{letter}{odd}z" for odd in ODD_CHARACTERS for letter in "xy"),
]
RENAMED = "new\tname"
BEFORE, AFTER = datetime(2026, 1, 1, 12), "2026-01-02T00:00:00+00:00"


def printed_name(name: str) -> str:
    """The name as git's output is decoded: bytes that are not UTF-8 are replaced."""
    return name.encode(errors="surrogateescape").decode(errors="replace")


@pytest.fixture
def branches(repository: Repository) -> Path:
    """Make a branch that modifies the files of odd names and renames one; return the root."""
    repository.commit(dict.fromkeys(["old", *ODD_NAMES], "1\n2"))
    repository.git("switch", "--quiet", "--create", "topic")
    renamed: dict[str, str | bytes | None] = {"old": None, RENAMED: "1\n2"}
    repository.commit(renamed | dict.fromkeys(ODD_NAMES, "1\n3\n"), date=AFTER)
    return repository.root


def test_a_diff_lists_each_file_by_its_name(branches: Path) -> None:
    files = native.diff_file_changes(branches, "main", "topic")
    expected = {printed_name(name): ("modified", 1, 1, None) for name in ODD_NAMES}
    expected[RENAMED] = "renamed", 0, 0, "old"
    assert {file.path: astuple(file)[1:] for file in files} == expected


def test_a_log_lists_the_same_files_by_commit(branches: Path) -> None:
    commits = native.log_commit_changes(branches, since=BEFORE, ref="topic", max_commits=9)
    files = native.diff_file_changes(branches, "main", "topic")
    assert [commit.files for commit in commits] == [tuple(files)]


def test_changed_lines_are_listed_by_name(branches: Path) -> None:
    lines = native.diff_line_spans(branches, "main", "topic", merge_base=True)
    expected = {printed_name(name): [native.LineSpan(2, 2, added=False)] for name in ODD_NAMES}
    assert lines == expected


@pytest.mark.parametrize("name", ODD_NAMES, ids=ascii)
def test_a_path_is_not_a_pattern(branches: Path, name: str) -> None:
    lines = native.diff_line_spans(branches, "main", "topic", merge_base=False, paths=[name])
    assert list(lines) == [printed_name(name)]


A_AND_B = "+++ a\n@@ -1 +1 @@\n-\n+\n+++ b\n@@ -3 +3 @@", "", 0
C_AND_A = "+++ c\n@@ -4 +4 @@\n-\n+\n+++ a\n@@ -5 +5 @@\n", "", 0


def test_a_later_batch_replaces_the_spans_of_a_path_but_not_its_place(
    module: ModuleType, fake_git_results: FakeGitResults, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(module, "_MAX_PATHSPEC_CHARS", 2)
    fake_git_results(A_AND_B, C_AND_A)
    found = module.diff_line_spans("r", "a", "b", merge_base=True, paths=["a", "a"])
    starts = [(path, [span.start for span in spans]) for path, spans in found.items()]
    assert starts == [("a", [5]), ("b", [3]), ("c", [4])]
