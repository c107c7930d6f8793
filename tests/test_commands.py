"""The files, commits and lines that git reports, on real repositories."""

from collections import Counter
from collections.abc import Callable, Iterator
from datetime import datetime, timedelta, timezone
from pathlib import Path
from types import ModuleType

import pytest
from conftest import FakeGit, Repository, Runs
from hypothesis import given
from hypothesis import strategies as st
from twin import assert_alike, native

type Span = tuple[int, int, bool]

NUMBERED = [f"{n}\n" for n in range(1, 21)]
TWENTY = "".join(NUMBERED)
ODD_NAMES = ["a b", "tab\there", 'quote"d', "back\\slash", "line\nfeed", "é中😀", "*", ":(top)x"]
RAW_NAME = "raw\udcff"  # a byte that is no UTF-8
WORDS = {"A": "added", "D": "deleted", "M": "modified", "R": "renamed", "T": "modified"}
CONFIG = ["color.ui=always", "core.quotepath=true", "diff.external=false", "diff.renames=copies"]
CONFIG += ["diff.hostile.textconv=false", "diff.mnemonicPrefix=true"]
BEFORE = {
    ".gitattributes": "*.txt diff=hostile\n",
    "edited.txt": TWENTY,
    "old name.txt": TWENTY * 2,
    "headers": f"-- x\n@@ -1 +1 @@\n{TWENTY}",
    "removed": "++ y\n" * 3,
    "binary": b"\0" * 99,
    "mode": "#!/bin/sh\n",
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
    "copied.txt": f"{TWENTY * 3}21\n",
    "copy.txt": TWENTY * 3,
    "empty": "",
    **dict.fromkeys([*ODD_NAMES, RAW_NAME], "1\n3\n"),
}
EXPECTED: dict[str, list[Span]] = {
    "copied.txt": [(61, 61, True)],
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
    (repository.root / "mode").chmod(0o755)
    (repository.root / "type").unlink()
    (repository.root / "type").symlink_to("edited.txt")
    repository.commit(AFTER, date="2026-01-02T00:00:00+00:00")
    repository.git("switch", "--quiet", "main")
    repository.commit({"edited.txt": "of main alone\n"}, date="2026-01-03T00:00:00+00:00")
    return repository


def spans(found: dict[str, list[native.LineSpan]]) -> dict[str, list[Span]]:
    return {path: [(each.start, each.end, each.added) for each in of] for path, of in found.items()}


def decoded(name: str) -> str:
    """The name as text: what is no UTF-8 is replaced."""
    return name.encode(errors="surrogateescape").decode(errors="replace")


def test_the_files_of_a_branch_are_those_of_name_status_and_numstat(branched: Repository) -> None:
    merge_base = ("-M", "-z", "--no-textconv", "main...topic")
    listed: dict[str, tuple[str, str | None]] = {}
    words = iter(branched.git("diff", "--name-status", *merge_base).split("\0")[:-1])
    for letter in words:
        old = decoded(next(words)) if letter[0] == "R" else None
        listed[decoded(next(words))] = (WORDS[letter[0]], old)
    counted = {}
    words = iter(branched.git("diff", "--numstat", *merge_base).split("\0")[:-1])
    for record in words:
        added, deleted, path = record.split("\t", 2)
        path = path or [next(words), next(words)][1]
        counts = (0, 0) if added == "-" else (int(added), int(deleted))
        counted[decoded(path)] = counts

    files = native.diff_file_changes(branched.root, "main", "topic")
    assert {file.path: (file.status, file.old_path) for file in files} == listed
    assert {file.path: (file.additions, file.deletions) for file in files} == counted
    assert [file.path for file in files] == list(listed)
    statuses = Counter(status for status, _ in listed.values())
    assert statuses == {"added": 2, "deleted": 1, "renamed": 1, "modified": 15}
    assert native.diff_file_changes(branched.root, "topic", "topic") == []


def test_the_lines_of_a_branch_are_those_of_the_newer_side(branched: Repository) -> None:
    found = native.diff_line_spans(branched.root, "main", "topic", merge_base=True)
    assert spans(found) == EXPECTED
    text = branched.git("show", "topic:headers").splitlines()
    assert [text[line - 1] for line in (22, 24)] == ["@@ -7 +7 @@", "++ c"]
    everything = native.diff_line_spans(
        branched.root, "main", "topic", merge_base=True, diff_filter="AMRTD"
    )
    assert spans(everything) == EXPECTED | {"copy.txt": [(1, 60, True)], "type": [(1, 1, True)]}


def test_without_a_merge_base_the_two_sides_are_compared_themselves(branched: Repository) -> None:
    found = native.diff_line_spans(branched.root, "main", "topic", merge_base=False)
    assert spans(found) == EXPECTED | {"edited.txt": [(1, 20, False)]}
    top = native.diff_line_spans(branched.root, "topic", "main~", merge_base=False)
    assert spans(top)["edited.txt"][-1] == (20, 20, True)


def test_each_path_is_taken_literally(branched: Repository) -> None:
    def ask(*paths: str) -> dict[str, list[Span]]:
        root = branched.root
        return spans(native.diff_line_spans(root, "main", "topic", merge_base=True, paths=paths))

    for name in ODD_NAMES:
        assert ask(name) == {name: EXPECTED[name]}
    # Without its old name git cannot know that a file was renamed.
    assert ask("new\tname.txt") == {}
    assert ask("new\tname.txt", "old name.txt") == {"new\tname.txt": [(41, 41, True)]}


def test_more_paths_than_one_command_holds_are_read_in_batches(
    repository: Repository, monkeypatch: pytest.MonkeyPatch
) -> None:
    runs: list[list[str]] = []
    run = native.run_git_command
    recorded = lambda root, args: runs.append(args) or run(root, args)  # noqa: E731
    monkeypatch.setattr(native, "run_git_command", recorded)
    names = [f"directory/{'long' * 12}/file {n} é" for n in range(400)]
    repository.commit(dict.fromkeys(names, "1\n"))
    repository.commit({name: f"{n}\n" * (n % 3 + 1) for n, name in enumerate(names)})
    asked = [*reversed(names), names[7], "not there"]
    options = {"merge_base": False, "diff_filter": "MR"}
    found = native.diff_line_spans(repository.root, "HEAD~", "HEAD", paths=asked, **options)
    batches = [call[call.index("--") + 1 :] for call in runs]
    assert [len(batch) > 100 for batch in batches] == [True, True]
    assert batches[0] + batches[1] == asked
    assert all(sum(len(path) + 1 for path in batch) <= 16000 for batch in batches)
    assert found == native.diff_line_spans(repository.root, "HEAD~", "HEAD", **options)
    assert len(found) == 400


def test_the_commits_of_a_period_have_the_files_that_git_shows_for_each(
    branched: Repository,
) -> None:
    branched.git("-c", "core.editor=true", "merge", "--quiet", "--strategy=ours", "topic")
    branched.commit({"é\n": "1"}, date="2026-01-04T00:00:00+05:00")
    root = branched.root
    since = datetime(2026, 1, 1, 12)
    log = native.log_commit_changes(root, since=since, ref=None, max_commits=99)
    ids = branched.git("log", "--format=%H %ct", f"--since={since}").split()
    assert [commit.timestamp for commit in log] == [int(stamp) for stamp in ids[1::2]]
    for commit, identity in zip(log, ids[::2], strict=True):
        shown = branched.git("show", "--format=", "--name-only", "--no-ext-diff", "-z", identity)
        parents = branched.git("show", "--no-patch", "--format=%P", identity).split()
        names = [] if len(parents) > 1 else [decoded(name) for name in shown.split("\0")[:-1]]
        assert [file.path for file in commit.files] == names
    assert [len(commit.files) for commit in log if commit.files] == [1, 1, 19]
    assert () in [commit.files for commit in log]

    def count(**options: object) -> int:
        asked = {"since": since, "ref": None, "max_commits": 99, **options}
        return len(native.log_commit_changes(root, **asked))

    assert [count(max_commits=n) for n in (0, 1, 2)] == [0, 1, 2]
    assert count(ref="topic") == 1
    assert count(since=datetime(2025, 12, 31), ref="topic") == 2


def test_what_git_refuses_is_a_git_error_with_the_words_of_git(branched: Repository) -> None:
    moment = datetime(2026, 1, 1)
    for failing in (
        lambda: native.diff_file_changes(branched.root, "none", "topic"),
        lambda: native.diff_line_spans(branched.root, "none", "topic", merge_base=False),
        lambda: native.log_commit_changes(branched.root, since=moment, ref="none", max_commits=1),
    ):
        with pytest.raises(native.GitError, match=r"none.*unknown revision"):
            failing()


PATCHED = ("--no-color", "--no-ext-diff", "--no-textconv", "--no-prefix", "-M", "-U0")
FIXED = ["-c", "core.quotepath=off", "--literal-pathspecs", "diff", *PATCHED]


def test_each_command_line_is_exactly_this(either: ModuleType, answer_runs: Runs) -> None:
    calls = answer_runs(*[("", "", 0)] * 6)
    root = Path("r")
    moment = datetime(2026, 9, 1, 8, 30, 5, 999, timezone(timedelta(hours=9)))
    assert either.diff_file_changes(root, "-a", "b c") == []
    either.log_commit_changes(root, since=moment, ref=None, max_commits=0)
    either.log_commit_changes(root, since=moment, ref="", max_commits="-5")
    assert either.diff_line_spans(root, "a", "b", merge_base=1) == {}
    either.diff_line_spans(root, "a", "b", merge_base=[], paths="xy", diff_filter="")
    either.diff_line_spans(root, "a", "b", merge_base=True, paths=["--", ""])
    logged = ["log", "--since=2026-09-01 08:30:05", "--max-count=0", "--no-show-signature"]
    logged += ["--format=%x1e%ct", "--raw", "--numstat", "-M", "-z"]
    assert calls == [
        ["diff", "--raw", "--numstat", "-M", "-z", "--no-textconv", "-a...b c"],
        logged,
        [*logged[:2], "--max-count=-5", *logged[3:], ""],
        [*FIXED, "--diff-filter=MR", "a...b"],
        [*FIXED, "--diff-filter=", "a", "b", "--", "x", "y"],
        [*FIXED, "--diff-filter=MR", "a...b", "--", "--", ""],
    ]


def test_arguments_reach_git_whole(fake_git: FakeGit) -> None:
    fake_git.answers()
    paths = ["a b", "c\nd", "*", "é"]
    native.diff_line_spans(fake_git.directory, "a b", "", merge_base=False, paths=paths)
    assert fake_git.calls() == [[*FIXED, "--diff-filter=MR", "a b", "", "--", *paths]]


def test_a_failed_batch_discards_all_and_ends_the_reading(
    either: ModuleType,
    answer_runs: Runs,
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    monkeypatch.setattr(either, "_MAX_PATHSPEC_CHARS", 2)
    calls = answer_runs(("+++ a\n@@ -1 +1 @@\n", "", 0), ("+++ b\n@@ -1 +1 @@\n", "broken\n", 1))
    with pytest.raises(either.GitError, match=r"^broken$"):
        either.diff_line_spans(Path("r"), "a", "b", merge_base=True, paths=["a", "b", "c"])
    assert [call[-1] for call in calls] == ["a", "b"]


def test_a_path_of_two_batches_keeps_its_place_and_takes_the_later_spans(
    either: ModuleType,
    answer_runs: Runs,
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    monkeypatch.setattr(either, "_MAX_PATHSPEC_CHARS", 2)
    answer_runs(
        ("+++ a\n@@ -1 +1 @@\n-\n+\n+++ b\n@@ -3 +3 @@", "", 0),
        ("+++ c\n@@ -4 +4 @@\n-\n+\n+++ a\n@@ -5 +5 @@\n", "", 0),
    )
    found = either.diff_line_spans(Path("r"), "a", "b", merge_base=True, paths=["a", "a"])
    first = ("b", [(3, 3, False)])
    assert list(spans(found).items()) == [("a", [(5, 5, False)]), first, ("c", [(4, 4, False)])]


BATCHES = [
    ([], [[]]),
    ([7999, 7999], [[7999, 7999]]),
    ([7999, 8000], [[7999], [8000]]),
    ([20000, 1, 20000, 1, 1], [[20000], [1], [20000], [1, 1]]),
    ([0] * 16001, [[0] * 16000, [0]]),
]


@pytest.mark.parametrize(("lengths", "batches"), BATCHES)
def test_a_batch_holds_sixteen_thousand_characters(
    either: ModuleType, lengths: list[int], batches: list[list[int]]
) -> None:
    for letter in "aé中😀":
        for kind in (list, tuple, iter):
            found = either._path_batches(kind([letter * length for length in lengths]))
            assert [[len(path) for path in batch] for batch in found] == batches


class Measured(str):
    """A path with a length of its own."""

    __slots__ = ()

    def __len__(self) -> int:
        """Half of the characters that one command line may hold."""
        return 8000


PATHS = st.sampled_from(["", "a", "é" * 7999, "a" * 8000, Measured("x"), "中" * 15999, (), [1], 5])


@given(st.lists(PATHS, max_size=6))
def test_any_paths_are_batched_as_python_does_it(paths: list[object]) -> None:
    def lazily() -> Iterator[object]:
        yield from paths
        raise OSError("no more")

    for each in (paths, tuple(paths), "".join(map(str, paths)), None):
        assert_alike("_path_batches", each)
    assert_alike("_path_batches", IterableOf(lazily))


class IterableOf:
    """Something to iterate over and no more."""

    def __init__(self, start: Callable[[], Iterator[object]]) -> None:
        self.start = start

    def __iter__(self) -> Iterator[object]:
        """Start over."""
        return self.start()
