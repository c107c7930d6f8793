"""The files, commits and lines that git reports, on a real repository."""

from dataclasses import astuple
from datetime import UTC, datetime
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
    "headers": (
        f"-- x\n@@ -1 +1 @@\n{TWENTY}",
        f"++ b\n{TWENTY}@@ -7 +7 @@\n-- x\n++ c",
        "modified 4 2",
        [(1, 1, False), (22, 24, True)],
    ),
    "removed": ("++ y\n" * 3, None, "deleted 0 3", None),
    "binary": (b"\0" * 99, b"\0" * 98 + b"1", "modified 0 0", None),
    "old name": (TWENTY * 2, None, "", None),
    "new\tname": (None, f"{TWENTY * 2}+++ z\n", "renamed 1 0 old name", [(41, 41, True)]),
    "kept": (TWENTY * 3, TWENTY * 3, "", None),
    "copy": (None, TWENTY * 3, "added 60 0", None),
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
    added = {".gitattributes": [(1, 1, True)], "copy": [(1, 60, True)]}
    assert spans(root, diff_filter="AMRD") == EXPECTED | added
    assert spans(root, merge_base=False) == EXPECTED | {"edited.txt": [(1, 20, False)]}
    with pytest.raises(native.GitError, match=r"none.*unknown revision"):
        native.diff_file_changes(root, "none", "topic")


def test_each_path_is_taken_literally_in_however_many_batches(
    branched: Repository, monkeypatch: pytest.MonkeyPatch
) -> None:
    odd = {decoded(name): EXPECTED[decoded(name)] for name in ODD_NAMES}
    for name in ODD_NAMES:
        assert spans(branched.root, paths=[name]) == {decoded(name): odd[decoded(name)]}
    # Without its old name git cannot know that a file was renamed.
    assert spans(branched.root, paths=["new\tname"]) == {}
    monkeypatch.setattr(native, "_MAX_PATHSPEC_CHARS", 20)
    assert spans(branched.root, paths=[*ODD_NAMES, "nowhere"]) == odd


def test_the_commits_of_a_period_have_their_files(branched: Repository) -> None:
    branched.git("-c", "core.editor=true", "merge", "--quiet", "--strategy=ours", "topic")
    branched.commit({"é\n": "1"}, date="2026-01-04T00:00:00+05:00")
    asked = {"since": datetime(2026, 1, 1, 12), "ref": None, "max_commits": 99}
    newest, merge, of_main, of_topic = native.log_commit_changes(branched.root, **asked)
    days = [datetime.fromtimestamp(each.timestamp, UTC).day for each in (newest, of_main, of_topic)]
    assert (days, told(newest.files), merge.files) == ([3, 3, 2], {"é\n": "added 1 0"}, ())
    assert told(of_topic.files) == STATUSES
    for limit in (0, 1, 2):
        found = native.log_commit_changes(branched.root, **asked | {"max_commits": limit})
        assert found == [newest, merge][:limit]
    assert native.log_commit_changes(branched.root, **asked | {"ref": "topic"}) == [of_topic]


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
