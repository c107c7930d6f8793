"""The one way by which git runs."""

import os
import subprocess
import sys
import traceback
from collections.abc import Callable
from pathlib import Path
from types import MappingProxyType, ModuleType, SimpleNamespace
from typing import Any

import pytest
from conftest import FakeGit, LogWatcher
from twin import assert_alike, native, outcome, plain

HIDDEN = "get_subprocess_hidden_kwargs"


class Keyed:
    """A mapping whose keys or items cannot be had."""

    def __init__(self, error: Exception, *keys: str) -> None:
        self.error, self.names = error, keys

    def keys(self) -> tuple[str, ...]:
        return self.names or self["keys"]

    def __getitem__(self, _key: str) -> Any:
        raise self.error


def replace_run(
    monkeypatch: pytest.MonkeyPatch, module: ModuleType, run: Callable[..., object]
) -> None:
    expired = subprocess.TimeoutExpired
    monkeypatch.setattr(module, "subprocess", SimpleNamespace(run=run, TimeoutExpired=expired))


def test_git_is_launched_with_these_keywords_in_this_order(
    either: ModuleType, monkeypatch: pytest.MonkeyPatch
) -> None:
    launches = []

    def run(*args: object, **keywords: object) -> SimpleNamespace:
        launches.append((args, list(keywords.items())))
        return SimpleNamespace(stdout="out ", stderr=" err", returncode=0)

    replace_run(monkeypatch, either, run)
    hidden = iter([{"z": 1, "env": None}, MappingProxyType({})])
    monkeypatch.setattr(either, HIDDEN, lambda: next(hidden))
    args = ["log", "-1"]
    assert either.run_git_command(Path("some/where"), args) == ("out ", " err", 0)
    assert either.run_git_command("here", args, timeout=None) == ("out ", " err", 0)
    assert args == ["log", "-1"]
    fixed = [("capture_output", True), ("encoding", "utf-8"), ("errors", "replace")]
    command = (["git", "log", "-1"],)
    first = [("cwd", "some/where"), *fixed, ("timeout", 30), ("z", 1), ("env", None)]
    assert launches == [(command, first), (command, [("cwd", "here"), *fixed, ("timeout", None)])]


UNMERGEABLE = [{"cwd": "/"}, {"timeout": 1}, None, [("cwd", "/")], {1: 2}, {"unknown": 1}]
FAILING = [Keyed(AttributeError("no keys")), Keyed(OSError("lost"), "a")]
FAILING += [Keyed(KeyError("key"), "a"), Keyed(KeyError("two", "words"), "a")]


@pytest.mark.parametrize("hidden", UNMERGEABLE + FAILING)
def test_keywords_that_cannot_be_merged_fail_as_in_a_python_call(
    monkeypatch: pytest.MonkeyPatch, fake_git: FakeGit, hidden: object
) -> None:
    fake_git.answers()
    for module in (native, plain):
        monkeypatch.setattr(module, HIDDEN, lambda: hidden)
    assert_alike("run_git_command", fake_git.directory, ["log"])
    assert fake_git.calls() == []


def test_a_key_that_comes_twice_is_no_override(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(native, HIDDEN, lambda: {"cwd": "/"})
    message = r"^subprocess\.run\(\) got multiple values for keyword argument 'cwd'$"
    with pytest.raises(TypeError, match=message):
        native.run_git_command("/", [])


def test_output_is_text_with_plain_line_ends_whatever_its_bytes(
    either: ModuleType, fake_git: FakeGit, log: LogWatcher
) -> None:
    fake_git.answers(b"a\r\nb\rc\xff\xe4\xb8\xad\n", b" \r\xfe \n", "exit 3")
    triple = ("a\nb\nc\ufffd中\n", " \n\ufffd \n", 3)
    assert either.run_git_command(fake_git.directory, ["a b", "", "ü"]) == triple
    assert fake_git.calls() == [["a b", "", "ü"]]
    message = "git command failed: args=['a b', '', 'ü'] rc=3 stderr=\ufffd"
    assert log.records == [("DEBUG", "run_git_command", message)]
    assert log.handled == [None]


def test_a_signal_that_ends_git_is_its_negative_status(fake_git: FakeGit) -> None:
    fake_git.answers(b"half", end="kill -TERM $$")
    assert native.run_git_command(fake_git.directory, []) == ("half", "", -15)
    with pytest.raises(native.GitError, match=r"^git exited with code -15$"):
        native._git_output(fake_git.directory, [])


def test_git_that_takes_too_long_is_killed_and_reaped(
    either: ModuleType, fake_git: FakeGit, log: LogWatcher, monkeypatch: pytest.MonkeyPatch
) -> None:
    children = []

    class Popen(subprocess.Popen[str]):
        def __init__(self, *args: Any, **keywords: Any) -> None:
            children.append(self)
            super().__init__(*args, **keywords)

    monkeypatch.setattr(subprocess, "Popen", Popen)
    fake_git.answers(end="exec sleep 600")
    triple = either.run_git_command(fake_git.directory, ["log"], timeout=0.05)
    assert triple == ("", "Command timed out", 1)
    assert [child.returncode for child in children] == [-9]
    message = "git command timed out after 0.05s: args=['log']"
    assert log.records == [("WARNING", "run_git_command", message)]
    assert isinstance(log.handled[0], subprocess.TimeoutExpired)
    assert sys.exception() is None


@pytest.mark.parametrize("missing", ["program", "directory"])
def test_a_missing_program_and_a_missing_directory_are_no_error(
    either: ModuleType,
    tmp_path: Path,
    log: LogWatcher,
    monkeypatch: pytest.MonkeyPatch,
    missing: str,
) -> None:
    if missing == "program":
        monkeypatch.setenv("PATH", str(tmp_path))
    root = tmp_path / "nowhere" if missing == "directory" else tmp_path
    assert either.run_git_command(root, ["log"]) == ("", "git not found", 1)
    message = "git executable not found while running args=['log']"
    assert log.records == [("WARNING", "run_git_command", message)]
    assert isinstance(log.handled[0], FileNotFoundError)
    assert sys.exception() is None
    with pytest.raises(either.GitError, match=r"^git not found$") as caught:
        either._git_output(root, ["log"])
    assert caught.value.__cause__ is caught.value.__context__ is None


def test_every_other_launch_error_passes_and_nothing_is_logged(
    either: ModuleType, tmp_path: Path, log: LogWatcher, monkeypatch: pytest.MonkeyPatch
) -> None:
    (tmp_path / "git").touch()
    with pytest.raises(NotADirectoryError):
        either.run_git_command(tmp_path / "git", ["log"])
    for args in (("log",), None, [1], ["a\0b"]):
        with pytest.raises((TypeError, ValueError)) as caught:
            either.run_git_command(tmp_path, args)
        names = [frame.name for frame in traceback.extract_tb(caught.tb)]
        assert names[1] == "run_git_command"
        assert names.count("run_git_command") == 1
    monkeypatch.setenv("PATH", str(tmp_path))
    with pytest.raises(PermissionError):
        either.run_git_command(tmp_path, ["log"])
    assert log.records == []


@pytest.mark.parametrize(
    ("gone", "error", "context"),
    [
        ("subprocess", OSError("bad"), "OSError"),
        ("logger", FileNotFoundError("git"), "FileNotFoundError"),
        ("logger", subprocess.TimeoutExpired("git", 1), "TimeoutExpired"),
    ],
)
def test_an_error_inside_the_handler_is_chained_to_the_first(
    either: ModuleType,
    monkeypatch: pytest.MonkeyPatch,
    gone: str,
    error: Exception,
    context: str,
) -> None:
    def run(*_args: object, **_keywords: object) -> None:
        monkeypatch.delattr(either, gone)
        raise error

    replace_run(monkeypatch, either, run)
    name, text, _cause, first, _ = outcome(either.run_git_command, "/", [])
    assert (name, text, first[0]) == ("NameError", f"name '{gone}' is not defined", context)


MESSAGES = [
    (("out", " fatal: bad\n\x1c", 128), "fatal: bad"),
    (("out", " \n\xa0", 7), "git exited with code 7"),
    (["out", "", True], "git exited with code True"),
    (("out", "", "0"), "git exited with code 0"),
]


@pytest.mark.parametrize(("triple", "message"), MESSAGES)
def test_a_failed_command_is_a_git_error_with_one_message(
    either: ModuleType, monkeypatch: pytest.MonkeyPatch, triple: object, message: str
) -> None:
    monkeypatch.setattr(either, "run_git_command", lambda _root, _args: triple)
    with pytest.raises(either.GitError) as caught:
        either._git_output("/", ["log"])
    assert caught.value.args == (message,)
    assert caught.value.__cause__ is caught.value.__context__ is None


RESULTS = [("out \n", None, 0), ("out", None, 0.0), ("out", None, 1), {"a": 1, "b": 2, "c": 0}]


@pytest.mark.parametrize("result", [*RESULTS, (), ("a", ""), ("a", "", 0, 0), "abc", 5, None])
def test_a_result_is_unpacked_into_three(monkeypatch: pytest.MonkeyPatch, result: object) -> None:
    for module in (native, plain):
        monkeypatch.setattr(module, "run_git_command", lambda *_args: result)
    assert_alike("_git_output", "/", [])
    assert_alike("get_head_commit", "/")


def test_git_inherits_the_environment(fake_git: FakeGit, monkeypatch: pytest.MonkeyPatch) -> None:
    fake_git.answers(end='printf %s "$MARK"')
    monkeypatch.setitem(os.environ, "MARK", "seen")
    assert native._git_output(fake_git.directory, []) == "seen"
