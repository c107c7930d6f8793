"""The files, commits and lines that git reports, on real repositories."""

from collections.abc import Iterator
from dataclasses import astuple
from datetime import datetime
from pathlib import Path
from types import ModuleType

import pytest
from compare import native
from conftest import Repository, Runs

NUMBERED = [f"{n}\n" for n in range(1, 21)]
TWENTY = "".join(NUMBERED)
ODD_NAMES = ["a b", "tab\there", 'quote"d', "back\\slash", "line\nfeed", "é中😀", "*", ":(top)x"]
ODD_NAMES += [f"{odd}{place}{odd}z" for odd in '\t\n":\\\x1f é\U0001f600' for place in "xy"]
RAW_NAME = "raw\udcff"  # a byte that is no UTF-8
WORDS = {"A": "added", "D": "deleted", "M": "modified", "R": "renamed", "T": "modified"}
# What git is told to show otherwise changes nothing.
CONFIG = ["color.ui=always", "core.quotepath=true", "diff.external=false", "diff.renames=copies"]
CONFIG += ["diff.hostile.textconv=false", "diff.hostile.command=false", "diff.mnemonicPrefix=true"]
CONFIG += ["log.showSignature=true", "diff.context=9", "format.pretty=fuller"]
BEFORE = {
    ".gitattributes": "*.txt diff=hostile\n",
    "edited.txt": TWENTY,
    "old name.txt": TWENTY * 2,
    "headers": f"-- x\n@@ -1 +1 @@\n{TWENTY}",
    "removed": "++ y\n" * 3,
    "binary": b"\0" * 99,
    "type": "text\n",
    "copied.txt": TWENTY * 3,
    **dict.fromkeys([*ODD_NAMES, RAW_NAME], "1\n2"),
}
EDITED = ["0\n", *NUMBERED[2:9], "x\n", *NUMBERED[10:15], "n\n", "m\n", *NUMBERED[15:19]]
AFTER = {
    "edited.txt": "".join(EDITED),
    "new\tname.txt": f"{TWENTY * 2}+++ z\n",
    "headers": f"++ b\n{TWENTY}@@ -7 +7 @@\n-- x\n++ c",
    "removed": None,
    "binary": b"\0" * 98 + b"1",
    "copy.txt": TWENTY * 3,
    **dict.fromkeys([*ODD_NAMES, RAW_NAME], "1\n3\n"),
}
EXPECTED = {
    "edited.txt": [(1, 1, False), (9, 9, False), (15, 16, True), (20, 20, False)],
    "headers": [(1, 1, False), (22, 24, True)],
    "new\tname.txt": [(41, 41, True)],
    **{name: [(2, 2, False)] for name in [*ODD_NAMES, "raw\ufffd"]},
}


@pytest.fixture
def branched(repository: Repository) -> Repository:
    """Give a repository whose branch topic has changed files in all the ways there are."""
    for setting in CONFIG:
        repository.git("config", *setting.split("="))
    repository.commit(BEFORE)
    repository.git("switch", "--quiet", "--create", "topic")
    (repository.root / "old name.txt").rename(repository.root / "new\tname.txt")
    (repository.root / "type").unlink()
    (repository.root / "type").symlink_to("edited.txt")
    repository.commit(AFTER, date="2026-01-02T00:00:00+00:00")
    repository.git("switch", "--quiet", "main")
    repository.commit({"edited.txt": "of main alone\n"}, date="2026-01-03T00:00:00+00:00")
    return repository


def spans(
    root: Path, base: str, head: str, **options: object
) -> dict[str, list[tuple[object, ...]]]:
    found = native.diff_line_spans(root, base, head, **{"merge_base": True} | options)
    return {path: [astuple(each) for each in of_path] for path, of_path in found.items()}


def decoded(name: str) -> str:
    """The name as text: what is no UTF-8 is replaced."""
    return name.encode(errors="surrogateescape").decode(errors="replace")


def test_the_files_of_a_branch_are_those_of_name_status_and_numstat(branched: Repository) -> None:
    def judged(listing: str) -> Iterator[str]:
        options = ("-M", "-z", "--no-textconv", "main...topic")
        return iter(decoded(branched.git("diff", listing, *options)).split("\0")[:-1])

    words = judged("--name-status")
    listed = [
        (WORDS[letter[0]], next(words) if letter[0] == "R" else None, next(words))
        for letter in words
    ]
    numbers = [record.split("\t")[:2] for record in judged("--numstat") if record.count("\t") > 1]
    counted = [tuple(int(number.replace("-", "0")) for number in pair) for pair in numbers]
    files = native.diff_file_changes(branched.root, "main", "topic")
    assert [(file.status, file.old_path, file.path) for file in files] == listed
    assert [(file.additions, file.deletions) for file in files] == counted
    assert {status for status, _, _ in listed} == set(WORDS.values())
    with pytest.raises(native.GitError, match=r"none.*unknown revision"):
        native.diff_file_changes(branched.root, "none", "topic")


def test_the_lines_of_a_branch_are_those_of_the_newer_side(branched: Repository) -> None:
    root = branched.root
    assert spans(root, "main", "topic") == EXPECTED
    everything = EXPECTED | {"copy.txt": [(1, 60, True)], "type": [(1, 1, True)]}
    assert spans(root, "main", "topic", diff_filter="AMRTD") == everything
    sides = spans(root, "main", "topic", merge_base=False)
    assert sides == EXPECTED | {"edited.txt": [(1, 20, False)]}


def test_each_path_is_taken_literally_in_however_many_batches(
    branched: Repository, monkeypatch: pytest.MonkeyPatch
) -> None:
    for name in ODD_NAMES:
        assert spans(branched.root, "main", "topic", paths=[name]) == {name: EXPECTED[name]}
    # Without its old name git cannot know that a file was renamed.
    assert spans(branched.root, "main", "topic", paths=["new\tname.txt"]) == {}
    monkeypatch.setattr(native, "_MAX_PATHSPEC_CHARS", 20)
    found = spans(branched.root, "main", "topic", paths=[*ODD_NAMES, "nowhere"])
    assert found == {name: EXPECTED[name] for name in ODD_NAMES}


def test_the_commits_of_a_period_have_the_files_that_git_shows_for_each(
    branched: Repository,
) -> None:
    branched.git("-c", "core.editor=true", "merge", "--quiet", "--strategy=ours", "topic")
    branched.commit({"é\n": "1"}, date="2026-01-04T00:00:00+05:00")
    since = datetime(2026, 1, 1, 12)

    def log(**options: object) -> list[native.CommitChanges]:
        asked = {"since": since, "ref": None, "max_commits": 99, **options}
        return native.log_commit_changes(branched.root, **asked)

    stamps = branched.git("log", "--format=%ct", f"--since={since}").split()
    assert [str(commit.timestamp) for commit in log()] == stamps
    files = {commit.timestamp: [file.path for file in commit.files] for commit in log()}
    newest, merge, *_, topic = files.values()
    assert (newest, merge) == (["é\n"], [])
    assert set(topic) == {decoded(name) for name in [*AFTER, "type"]}
    assert [len(log(max_commits=n)) for n in (0, 1, 2)] == [0, 1, 2]
    assert len(log(ref="topic")) == 1


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
