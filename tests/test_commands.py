"""The files, commits and lines that git reports, in however many runs."""

from dataclasses import astuple
from datetime import datetime
from types import ModuleType

import pytest
from compare import native
from conftest import Repository, Runs

ODD_NAMES = ["a b", 'quote"d', "back\\slash", "é中😀", "*", ":(top)x", "raw\udcff"]  # no UTF-8
ODD_NAMES += [f"{odd}{place}{odd}z" for odd in '\t\n":\\\x1f é\U0001f600' for place in "xy"]


def test_files_are_named_as_they_are_and_paths_taken_literally(repository: Repository) -> None:
    root, since = repository.root, datetime(2026, 1, 1, 12)
    repository.commit(dict.fromkeys(["old", *ODD_NAMES], "1\n2"))
    repository.git("switch", "--quiet", "--create", "topic")
    after = {"old": None, "new\tname": "1\n2"} | dict.fromkeys(ODD_NAMES, "1\n3\n")
    repository.commit(after, date="2026-01-02T00:00:00+00:00")
    (commit,) = native.log_commit_changes(root, since=since, ref="topic", max_commits=9)
    assert native.diff_file_changes(root, "main", "topic") == [*commit.files]
    # What is no UTF-8 is replaced.
    odd = [name.encode(errors="surrogateescape").decode(errors="replace") for name in ODD_NAMES]
    expected = dict.fromkeys(odd, ("modified", 1, 1, None))
    expected["new\tname"] = ("renamed", 0, 0, "old")
    assert {file.path: astuple(file)[1:] for file in commit.files} == expected
    lines = {name: [native.LineSpan(2, 2, added=False)] for name in odd}
    for paths in ((), [*ODD_NAMES, "new\tname"]):
        assert native.diff_line_spans(root, "main", "topic", merge_base=True, paths=paths) == lines
    for name, spans in zip(ODD_NAMES, lines.items(), strict=True):
        found = native.diff_line_spans(root, "main", "topic", merge_base=False, paths=[name])
        assert [*found.items()] == [spans]


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
    assert [call.args[1][-1] for call in calls] == ["a", "b"]
