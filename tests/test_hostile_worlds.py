"""What the module does where git, the repository or the surroundings are not as they should be."""

import os
import pty
import subprocess
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from datetime import datetime
from pathlib import Path
from types import ModuleType
from typing import Any

import plain_python
import pytest
from orvel_tarnix.utils import git_utils
from worlds import NOBODY, Repository, environment, fake_git

EARLY = datetime(2000, 1, 1)  # noqa: DTZ001 - the product's moments are naive


@pytest.fixture(autouse=True)
def _quiet_surroundings(monkeypatch: pytest.MonkeyPatch) -> None:
    clean = environment()
    for name in os.environ.keys() - clean.keys():
        monkeypatch.delenv(name)
    for name, value in clean.items():
        monkeypatch.setenv(name, value)


@pytest.fixture(params=[git_utils, plain_python], ids=["native", "plain"])
def module(request: pytest.FixtureRequest) -> ModuleType:
    return request.param


@pytest.fixture
def use_git(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Callable[[str], None]:
    """Takes a shell script for git."""
    return lambda script: monkeypatch.setenv("PATH", fake_git(tmp_path / "bin", script))


@pytest.fixture
def repository(tmp_path: Path) -> Repository:
    """A main branch of one file, which a topic branch changes in two places; it adds two files."""
    repository = Repository(tmp_path / "repository")
    lines = [f"{number}\n" for number in range(1, 20)]
    repository.commit({"a": "".join(lines)})
    repository.git("switch", "--quiet", "--create=topic")
    lines[4] = lines[8] = "changed\n"
    repository.commit({"a": "".join(lines)})
    repository.commit({"b": "1\n", "c": "1\n2\n"})
    return repository


class SinceReady(float):
    """A time limit that begins to run when the fake git names a process in a pipe."""

    def __radd__(self, now: float) -> float:
        self.process = int(self.pipe.read_text(encoding="ascii"))
        return now + float(self)


def outcome(function: Callable[..., Any], *args: Any) -> Any:
    """What it gives, or the kind of error it raises."""
    try:
        return function(*args)
    except Exception as error:  # noqa: BLE001 - the kind is what is compared
        return type(error)


@pytest.mark.parametrize(
    ("script", "is_killed"),
    [
        ("trap '' INT TERM; echo $$ > {}; exec sleep 600", True),
        ("sleep 600 & echo $! > {}; echo some", False),
    ],
    ids=["git ignores signals", "what git leaves behind keeps the pipe"],
)
def test_git_is_killed_when_time_is_up_but_not_what_it_has_started(
    script: str, is_killed: bool, module: ModuleType, use_git: Callable[[str], None], tmp_path: Path
) -> None:
    limit = SinceReady(0.05)
    limit.pipe = tmp_path / "ready"
    os.mkfifo(limit.pipe)
    use_git(script.format(limit.pipe))
    assert module.run_git_command("/", ["x"], limit) == ("", "Command timed out", 1)
    assert outcome(os.kill, limit.process, 9) == (ProcessLookupError if is_killed else None)


FAKES = {
    "echo 1; head -c 100000000 /dev/zero >&2; exit 3": ("1\n", "\0" * 100_000_000, 3),
    "echo 1; kill -9 $$": ("1\n", "", -9),
    r"printf 'a\377b\r\nc\rd'; printf '\303' >&2": ("a\ufffdb\nc\nd", "\ufffd", 0),
}


@pytest.mark.parametrize("script", FAKES)
def test_what_git_prints_and_how_it_ends_is_handed_on(
    script: str, module: ModuleType, use_git: Callable[[str], None]
) -> None:
    use_git(script)
    assert module.run_git_command("/", ["x"]) == FAKES[script]


def test_a_git_that_dies_in_silence_is_an_error_with_its_code(
    module: ModuleType, use_git: Callable[[str], None]
) -> None:
    use_git("kill -9 $$")
    with pytest.raises(module.GitError, match=r"^git exited with code -9$"):
        module.count_commits("/", "a", "b")


@pytest.mark.parametrize(
    ("mode", "content", "expected"),
    [
        (0o755, "#!/no/interpreter\n", ("", "git not found", 1)),
        (0o644, "#!/bin/sh\n", PermissionError),
        (0o755, "no program", OSError),
    ],
)
def test_a_git_that_cannot_start_is_not_found_or_an_error_of_the_system(
    mode: int,
    content: str,
    expected: object,
    module: ModuleType,
    tmp_path: Path,
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    monkeypatch.setenv("PATH", str(tmp_path))
    assert module.run_git_command("/", ["x"]) == ("", "git not found", 1)
    (tmp_path / "git").write_text(content, encoding="ascii")
    (tmp_path / "git").chmod(mode)
    assert outcome(module.run_git_command, "/", ["x"]) == expected


@contextmanager
def ordinary_user() -> Iterator[None]:
    """Without the privilege to read everything, if this process has it."""
    user = os.geteuid()
    os.seteuid(user or 65534)
    try:
        yield
    finally:
        os.seteuid(user)


def test_a_missing_root_is_a_missing_git_and_a_root_out_of_reach_is_an_error(
    module: ModuleType, tmp_path: Path
) -> None:
    (tmp_path / "file").touch()
    (tmp_path / "closed").mkdir(mode=0)
    missing, file, closed = Path(NOBODY), tmp_path / "file", tmp_path / "closed"
    assert module.run_git_command(missing, ["version"]) == ("", "git not found", 1)
    assert outcome(module.run_git_command, file, ["version"]) is NotADirectoryError
    assert module.find_git_root(missing) is module.find_git_root(file) is None
    with ordinary_user():
        assert outcome(module.run_git_command, closed, ["version"]) is PermissionError
        assert outcome(module.find_git_root, closed) is PermissionError


@pytest.mark.parametrize(
    ("text", "expected"),
    [("a\0b", ValueError), ("\ud800", UnicodeEncodeError), ("\udcff", False)],
)
def test_an_argument_that_no_program_can_get_is_an_error(
    text: str, expected: object, module: ModuleType, repository: Repository
) -> None:
    assert outcome(module.branch_exists, repository.root, text) == expected


@contextmanager
def standard_input(descriptor: int | None) -> Iterator[None]:
    """Another standard input, or none at all."""
    saved = os.dup(0)
    try:
        os.close(0) if descriptor is None else os.dup2(descriptor, 0)
        yield
    finally:
        os.dup2(saved, 0)
        os.close(saved)


def test_authors_are_those_of_a_log_on_standard_input_unless_that_is_a_terminal(
    module: ModuleType, repository: Repository
) -> None:
    def authors() -> list[dict[str, Any]]:
        return module.get_authors_for_period(repository.root, "2000-01-01")

    log = b"commit 1\nAuthor: Bob <bob@example.org>\nDate: x\n\n    m\n"
    with subprocess.Popen(["printf", "%s", log], stdout=subprocess.PIPE) as pipe:
        with standard_input(pipe.stdout.fileno()):
            assert authors() == [{"name": "Bob", "email": "bob@example.org", "commits": 1}]
    with standard_input(None):
        assert authors() == []
    controller, terminal = pty.openpty()
    with standard_input(terminal):
        assert authors() == [{"name": "Ann", "email": "ann@example.org", "commits": 3}]
    os.close(controller)
    os.close(terminal)


def everything(root: Path) -> list[Any]:
    """What the functions that read git's output make of the repository."""
    return [
        git_utils.diff_file_changes(root, "main", "topic"),
        git_utils.log_commit_changes(root, since=EARLY, ref=None, max_commits=9),
        git_utils.diff_line_spans(root, "main", "topic", merge_base=True, diff_filter="AM"),
        git_utils.resolve_display_branch(root),
        git_utils.count_commits(root, "main", "topic"),
    ]


OVERRIDDEN = """
    color.ui=always log.showSignature=true diff.external=false diff.own.command=false
    diff.own.textconv=false diff.noprefix=false diff.mnemonicPrefix=true diff.context=9
    core.quotePath=true core.pager=false log.decorate=full format.pretty=fuller
"""


@pytest.mark.parametrize("setting", OVERRIDDEN.split())
def test_settings_that_only_change_how_git_shows_things_change_nothing(
    setting: str, repository: Repository
) -> None:
    (repository.root / ".git/info/attributes").write_text("* diff=own\n", encoding="utf-8")
    expected = everything(repository.root)
    repository.git("config", *setting.split("=", 1))
    assert everything(repository.root) == expected


def spans(root: Path) -> list[tuple[int, int]]:
    found = git_utils.diff_line_spans(root, "main", "topic", merge_base=True)
    return [(each.start, each.end) for each in found["a"]]


def test_context_that_git_is_told_to_add_elsewhere_widens_spans(
    repository: Repository, monkeypatch: pytest.MonkeyPatch
) -> None:
    assert spans(repository.root) == [(5, 5), (9, 9)]
    repository.git("config", "diff.interHunkContext", "3")
    assert spans(repository.root) == [(5, 9)]
    monkeypatch.setenv("GIT_DIFF_OPTS", "-u3")
    assert spans(repository.root) == [(2, 12)]


def test_files_come_in_the_order_that_git_is_told_to_give_them(repository: Repository) -> None:
    order = repository.root.parent / "order"
    order.write_text("c\nb\n", encoding="utf-8")
    ordinary = git_utils.diff_file_changes(repository.root, "main", "topic")
    repository.git("config", "diff.orderFile", str(order))
    ordered = git_utils.diff_file_changes(repository.root, "main", "topic")
    assert [each.path for each in ordered] == ["c", "b", "a"]
    assert sorted(ordered, key=lambda each: each.path) == ordinary


def test_git_dir_names_another_repository(
    repository: Repository, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("GIT_DIR", str(repository.root / ".git"))
    assert git_utils.resolve_display_branch(tmp_path) == "topic"
    assert git_utils.find_git_root(tmp_path) is None


def test_a_shallow_clone_ends_where_it_was_cut(repository: Repository, tmp_path: Path) -> None:
    clone = str(tmp_path / "s")
    repository.git("clone", "--quiet", "--depth=1", f"file://{repository.root}", clone)
    (commit,) = git_utils.log_commit_changes(tmp_path / "s", since=EARLY, ref=None, max_commits=9)
    assert [f"{each.status} {each.path}" for each in commit.files] == [
        f"added {name}" for name in "abc"
    ]
    with pytest.raises(git_utils.GitError, match="unknown revision"):
        git_utils.count_commits(tmp_path / "s", "HEAD~1", "HEAD")


ODD_NAMES = ["\t", "\n", "\r", '"', ":", "\\", "\x1f", " ", "é", "\U0001f600"]


def test_file_names_of_any_characters(repository: Repository) -> None:
    names = [f"{odd}{place}{odd}z" for odd in ODD_NAMES for place in "xy"]
    repository.commit(dict.fromkeys(names, "1\n"))
    repository.commit(dict.fromkeys(names, "2\n"))
    found = git_utils.diff_line_spans(repository.root, "HEAD~1", "HEAD", merge_base=False)
    assert sorted(found) == sorted(names)
    for name in names:
        assert git_utils.diff_line_spans(
            repository.root, "HEAD~1", "HEAD", merge_base=False, paths=[name]
        ) == {name: [git_utils.LineSpan(1, 1, added=False)]}
    # Git's streams have passed a translation of line ends: a carriage return is a line feed.
    as_read = {name.replace("\r", "\n") for name in names}
    (commit,) = git_utils.log_commit_changes(repository.root, since=EARLY, ref=None, max_commits=1)
    changes = git_utils.diff_file_changes(repository.root, "HEAD~1", "HEAD")
    assert {each.path for each in changes} == {each.path for each in commit.files} == as_read
    assert {(each.additions, each.deletions) for each in changes} == {(1, 1)}


def test_a_log_with_a_file_whose_name_begins_as_commits_do_is_an_error(
    repository: Repository,
) -> None:
    repository.commit({"\x1ename": "1\n"})
    (change,) = git_utils.diff_file_changes(repository.root, "HEAD~1", "HEAD")
    assert change.path == "\x1ename"
    with pytest.raises(ValueError, match="invalid literal for int"):
        git_utils.log_commit_changes(repository.root, since=EARLY, ref=None, max_commits=1)
