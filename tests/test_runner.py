"""The one way by which git runs."""

import subprocess
import sys
import traceback
from pathlib import Path
from types import MappingProxyType, ModuleType, NoneType, SimpleNamespace
from unittest.mock import MagicMock

import pytest
from compare import assert_alike
from conftest import FakeGit, Log, rebind

HIDDEN = "get_subprocess_hidden_kwargs"


def test_git_is_launched_with_these_keywords_in_this_order(
    either: ModuleType, monkeypatch: pytest.MonkeyPatch
) -> None:
    launches = []

    def run(*args: object, **keywords: object) -> SimpleNamespace:
        launches.append((args, list(keywords.items())))
        return SimpleNamespace(stdout="out ", stderr=" err", returncode=0)

    monkeypatch.setattr(subprocess, "run", run)
    hidden = iter([{"z": 1, "env": None}, MappingProxyType({})])
    monkeypatch.setattr(either, HIDDEN, lambda: next(hidden))
    args = ["log", "-1"]
    assert either.run_git_command(Path("some/where"), args) == ("out ", " err", 0)
    assert either.run_git_command("here", args, timeout=None) == ("out ", " err", 0)
    fixed = [("capture_output", True), ("encoding", "utf-8"), ("errors", "replace")]
    command = (["git", "log", "-1"],)
    first = [("cwd", "some/where"), *fixed, ("timeout", 30), ("z", 1), ("env", None)]
    assert launches == [(command, first), (command, [("cwd", "here"), *fixed, ("timeout", None)])]


UNMERGEABLE = [{"cwd": "/"}, None, [("cwd", "/")], {1: 2}, {"unknown": 1}]
ERRORS = [OSError("lost"), AttributeError("x"), KeyError("key"), KeyError("two", "words")]
METHODS = [{"keys.return_value": "a", "__getitem__.side_effect": error} for error in ERRORS]
UNMERGEABLE += [MagicMock(**each) for each in METHODS]


@pytest.mark.parametrize("hidden", UNMERGEABLE)
def test_keywords_that_cannot_be_merged_fail_as_in_a_python_call(
    monkeypatch: pytest.MonkeyPatch, fake_git: FakeGit, hidden: object
) -> None:
    rebind(monkeypatch, HIDDEN, lambda: hidden)
    assert_alike("run_git_command", fake_git("exit 0"), ["log"])


def test_however_git_ends_it_gives_text_and_a_failure_is_logged(
    either: ModuleType, fake_git: FakeGit, log: Log
) -> None:
    root, args = fake_git.directory, ["a b", "", "é\n"]
    fake_git(r"""printf 'a\r\nb\rc\377\n'; printf '<%s>' "$@"; printf ' \r\376 \n' >&2; exit 3""")
    triple = ("a\nb\nc\ufffd\n<a b><><é\n>", " \n\ufffd \n", 3)
    assert either.run_git_command(root, args) == triple
    fake_git("exec sleep 600")
    assert either.run_git_command(root, args, 0.05) == ("", "Command timed out", 1)
    assert either.run_git_command(root / "nowhere", args) == ("", "git not found", 1)
    ends = [
        ("DEBUG", f"git command failed: args={args} rc=3 stderr=\ufffd", NoneType),
        ("WARNING", f"git command timed out after 0.05s: args={args}", subprocess.TimeoutExpired),
        ("WARNING", f"git executable not found while running args={args}", FileNotFoundError),
    ]
    assert log == [(level, "run_git_command", *end) for level, *end in ends]
    assert sys.exception() is None


def test_every_other_launch_error_passes_and_nothing_is_logged(
    either: ModuleType, tmp_path: Path, log: Log, monkeypatch: pytest.MonkeyPatch
) -> None:
    (tmp_path / "git").touch()
    monkeypatch.setenv("PATH", str(tmp_path))
    calls = [(tmp_path, args) for args in (("log",), None, [1], ["a\0b"])]
    for root, args in [*calls, (tmp_path, ["log"]), (tmp_path / "git", ["log"])]:
        with pytest.raises((TypeError, ValueError, NotADirectoryError, PermissionError)) as caught:
            either.run_git_command(root, args)
        names = [frame.name for frame in traceback.extract_tb(caught.tb)]
        assert names[1] == "run_git_command"
        assert names.count("run_git_command") == 1
    assert log == []


RESULTS = [("out \n", None, 0), ("out", None, 0.0), ("out", None, 1), {"a": 1, "b": 2, "c": 0}]
RESULTS += [("", " fatal: bad\n\x1c", 128), ["", " \n\xa0", True], ("", "", "0")]


@pytest.mark.parametrize("result", [*RESULTS, (), ("a", ""), ("a", "", 0, 0), "abc", 5, None])
def test_a_result_is_unpacked_into_three(monkeypatch: pytest.MonkeyPatch, result: object) -> None:
    rebind(monkeypatch, "run_git_command", lambda *_args: result)
    assert_alike("_git_output", "/", [])
    assert_alike("get_head_commit", "/")
