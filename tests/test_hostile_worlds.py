"""What the module does where git, the repository or the surroundings are not as they should be."""

import os
from collections.abc import Iterator
from contextlib import contextmanager
from datetime import datetime
from pathlib import Path
from types import ModuleType
from typing import Any

import pytest
from conftest import FakeGit, Repository

from orvel_tarnix.utils import git_utils

EARLY = datetime(2000, 1, 1)


@pytest.fixture
def branched(repository: Repository) -> Repository:
    """A topic branch that changes a file in two places and adds two files."""
    lines = [f"{number}\n" for number in range(1, 20)]
    repository.commit({"a": "".join(lines)})
    repository.git("switch", "--quiet", "--create=topic")
    lines[4] = lines[8] = "changed\n"
    repository.commit({"a": "".join(lines), "b": "1\n", "c": "1\n2\n"})
    return repository


class SinceReady(float):
    """A time limit that begins to run when the fake git names a process in a pipe."""

    pipe: Path
    process: int

    def __radd__(self, now: float) -> float:
        self.process = int(self.pipe.read_text())
        return now + float(self)


@pytest.mark.parametrize(
    ("script", "is_killed"),
    [
        ("trap '' INT TERM; echo $$ > pipe; exec sleep 600", True),
        ("sleep 600 & echo $! > pipe", False),
    ],
    ids=["git ignores signals", "what git leaves behind keeps the pipe"],
)
def test_git_is_killed_when_time_is_up_but_not_what_it_has_started(
    either: ModuleType, fake_git: FakeGit, script: str, is_killed: bool
) -> None:
    fake_git(f"printf some; {script}")
    limit = SinceReady(0.05)
    limit.pipe = fake_git.directory / "pipe"
    os.mkfifo(limit.pipe)
    assert either.run_git_command("/", ["x"], limit) == ("", "Command timed out", 1)
    if is_killed:
        with pytest.raises(ProcessLookupError):
            os.kill(limit.process, 9)
    else:
        os.kill(limit.process, 9)


def test_a_hundred_megabytes_of_complaints_are_handed_on(
    either: ModuleType, fake_git: FakeGit
) -> None:
    fake_git("echo 1; head -c 100000000 /dev/zero >&2; exit 3")
    assert either.run_git_command("/", ["x"]) == ("1\n", "\0" * 100_000_000, 3)


def test_a_git_that_is_no_program_is_an_error_and_one_without_its_interpreter_is_missing(
    either: ModuleType, fake_git: FakeGit, monkeypatch: pytest.MonkeyPatch
) -> None:
    fake_git("exit 0")
    (fake_git.directory / "git").write_text("no program")
    monkeypatch.setenv("PATH", str(fake_git.directory))
    with pytest.raises(OSError, match="Exec format error"):
        either.run_git_command("/", ["x"])
    (fake_git.directory / "git").write_text("#!/no/interpreter\n")
    assert either.run_git_command("/", ["x"]) == ("", "git not found", 1)


@contextmanager
def ordinary_user() -> Iterator[None]:
    """Without the privilege to read everything, if this process has it."""
    user = os.geteuid()
    os.seteuid(user or 65534)
    try:
        yield
    finally:
        os.seteuid(user)


def test_a_root_that_may_not_be_entered_is_an_error(either: ModuleType, tmp_path: Path) -> None:
    (tmp_path / "closed").mkdir(mode=0)
    with ordinary_user():
        with pytest.raises(PermissionError):
            either.run_git_command(tmp_path / "closed", ["version"])
        with pytest.raises(PermissionError):
            either.find_git_root(tmp_path / "closed")


def test_text_that_cannot_be_an_argument_is_an_error(
    either: ModuleType, branched: Repository
) -> None:
    for query in (either.branch_exists, either.resolve_commit):
        with pytest.raises(ValueError, match="embedded null byte"):
            query(branched.root, "a\0b")
        with pytest.raises(UnicodeEncodeError, match="surrogates not allowed"):
            query(branched.root, "\ud800")
        assert not query(branched.root, "\udcff")  # it stands for a byte


def test_without_a_standard_input_there_are_no_authors(
    either: ModuleType, branched: Repository
) -> None:
    kept = os.dup(0)
    os.close(0)
    try:
        assert either.get_authors_for_period(branched.root, "2000-01-01") == []
    finally:
        os.dup2(kept, 0)
        os.close(kept)


def everything(root: Path) -> list[Any]:
    """What the functions that read git's output make of the branched."""
    return [
        git_utils.diff_file_changes(root, "main", "topic"),
        git_utils.log_commit_changes(root, since=EARLY, ref=None, max_commits=9),
        git_utils.diff_line_spans(root, "main", "topic", merge_base=True, diff_filter="AM"),
        git_utils.resolve_display_branch(root),
        git_utils.count_commits(root, "main", "topic"),
    ]


OVERRIDDEN = """
    color.ui=always log.showSignature=true diff.external=false diff.own.command=false
    diff.own.textconv=false diff.mnemonicPrefix=true diff.context=9 format.pretty=fuller
"""
SIGNER = """#!/bin/sh
case "$*" in
*--verify*) echo "gpg: a good signature" >&2; echo "[GNUPG:] GOODSIG Ann" ;;
*) echo "[GNUPG:] SIG_CREATED " >&2; echo "-----BEGIN PGP SIGNATURE-----"; cat > /dev/null ;;
esac
"""


@pytest.mark.parametrize("setting", OVERRIDDEN.split())
def test_settings_that_only_change_how_git_shows_things_change_nothing(
    setting: str, branched: Repository
) -> None:
    (branched.root / ".git/info/attributes").write_text("* diff=own\n")
    signer = branched.root / ".git/signer"
    signer.write_text(SIGNER)
    signer.chmod(0o755)
    branched.git("config", "gpg.program", str(signer))
    branched.git("commit", "--quiet", "--amend", "--no-edit", "--gpg-sign")
    expected = everything(branched.root)
    branched.git("config", *setting.split("=", 1))
    assert everything(branched.root) == expected


def spans(root: Path) -> list[tuple[int, int]]:
    found = git_utils.diff_line_spans(root, "main", "topic", merge_base=True)
    return [(each.start, each.end) for each in found["a"]]


def test_context_that_git_is_told_to_add_elsewhere_widens_spans(
    branched: Repository, monkeypatch: pytest.MonkeyPatch
) -> None:
    assert spans(branched.root) == [(5, 5), (9, 9)]
    branched.git("config", "diff.interHunkContext", "3")
    assert spans(branched.root) == [(5, 9)]
    monkeypatch.setenv("GIT_DIFF_OPTS", "-u3")
    assert spans(branched.root) == [(2, 12)]


def test_files_come_in_the_order_that_git_is_told_to_give_them(branched: Repository) -> None:
    order = branched.root.parent / "order"
    order.write_text("c\nb\n")
    ordinary = git_utils.diff_file_changes(branched.root, "main", "topic")
    branched.git("config", "diff.orderFile", str(order))
    ordered = git_utils.diff_file_changes(branched.root, "main", "topic")
    assert [each.path for each in ordered] == ["c", "b", "a"]
    assert sorted(ordered, key=lambda each: each.path) == ordinary


def test_git_dir_names_another_repository(
    branched: Repository, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("GIT_DIR", str(branched.root / ".git"))
    assert git_utils.resolve_display_branch(tmp_path) == "topic"
    assert git_utils.find_git_root(tmp_path) is None


def test_a_shallow_clone_ends_where_it_was_cut(branched: Repository, tmp_path: Path) -> None:
    clone = str(tmp_path / "s")
    branched.git("clone", "--quiet", "--depth=1", f"file://{branched.root}", clone)
    (commit,) = git_utils.log_commit_changes(tmp_path / "s", since=EARLY, ref=None, max_commits=9)
    assert [f"{each.status} {each.path}" for each in commit.files] == [
        f"added {name}" for name in "abc"
    ]
    with pytest.raises(git_utils.GitError, match="unknown revision"):
        git_utils.count_commits(tmp_path / "s", "HEAD~1", "HEAD")


ODD_NAMES = ["\t", "\n", "\r", '"', ":", "\\", "\x1f", " ", "é", "\U0001f600"]


def test_file_names_of_any_characters(branched: Repository) -> None:
    names = [f"{odd}{place}{odd}z" for odd in ODD_NAMES for place in "xy"]
    branched.commit(dict.fromkeys(names, "1\n"))
    branched.commit(dict.fromkeys(names, "2\n"))
    found = git_utils.diff_line_spans(branched.root, "HEAD~1", "HEAD", merge_base=False)
    assert sorted(found) == sorted(names)
    for name in names:
        assert git_utils.diff_line_spans(
            branched.root, "HEAD~1", "HEAD", merge_base=False, paths=[name]
        ) == {name: [git_utils.LineSpan(1, 1, added=False)]}
    # Git's streams have passed a translation of line ends: a carriage return is a line feed.
    as_read = {name.replace("\r", "\n") for name in names}
    (commit,) = git_utils.log_commit_changes(branched.root, since=EARLY, ref=None, max_commits=1)
    changes = git_utils.diff_file_changes(branched.root, "HEAD~1", "HEAD")
    assert {each.path for each in changes} == {each.path for each in commit.files} == as_read
    assert {(each.additions, each.deletions) for each in changes} == {(1, 1)}


def test_a_log_with_a_file_whose_name_begins_as_commits_do_is_an_error(
    branched: Repository,
) -> None:
    branched.commit({"\x1ename": "1\n"})
    (change,) = git_utils.diff_file_changes(branched.root, "HEAD~1", "HEAD")
    assert change.path == "\x1ename"
    with pytest.raises(ValueError, match="invalid literal for int"):
        git_utils.log_commit_changes(branched.root, since=EARLY, ref=None, max_commits=1)
