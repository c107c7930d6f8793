"""The one way by which git runs, however git ends."""

import subprocess
import sys
import traceback
from collections.abc import Iterator
from types import MappingProxyType, ModuleType, NoneType, SimpleNamespace
from unittest.mock import Mock

import pytest
from conftest import FakeGit, Log
from worlds import odd

# What has another name as text than for the file system.
PLACE = odd(object, __str__=lambda _: "some/where", __fspath__=lambda _: "elsewhere")


def test_git_is_launched_with_these_keywords_in_this_order(
    either: ModuleType, monkeypatch: pytest.MonkeyPatch
) -> None:
    launch = Mock(return_value=SimpleNamespace(stdout="out ", stderr=" err", returncode=0))
    monkeypatch.setattr(subprocess, "run", launch)
    hidden = iter([MappingProxyType({"z": 1, "env": None}), {}])
    monkeypatch.setattr(either, "get_subprocess_hidden_kwargs", lambda: next(hidden))
    args = ["log", "-1"]
    assert either.run_git_command(PLACE, args) == ("out ", " err", 0)
    assert either.run_git_command("here", args, timeout=None) == ("out ", " err", 0)
    fixed = [("capture_output", True), ("encoding", "utf-8"), ("errors", "replace")]
    command = (["git", "log", "-1"],)
    first = [("cwd", "some/where"), *fixed, ("timeout", 30), ("z", 1), ("env", None)]
    launches = [(call.args, [*call.kwargs.items()]) for call in launch.call_args_list]
    assert launches == [(command, first), (command, [("cwd", "here"), *fixed, ("timeout", None)])]


def test_however_git_ends_it_gives_text_and_a_failure_is_logged(
    either: ModuleType, fake_git: FakeGit, log: Log
) -> None:
    args = ["a b", "", "é\n"]
    says = r"""printf 'a\r\nb\rc\377\n'; printf '<%s>' "$@"; printf ' \r\376 \n' >&2; kill -9 $$"""
    root = fake_git(says)
    triple = ("a\nb\nc\ufffd\n<a b><><é\n>", " \n\ufffd \n", -9)
    assert either.run_git_command(root, args) == triple
    fake_git("exec sleep 600")
    assert either.run_git_command(root, args, 0.05) == ("", "Command timed out", 1)
    assert either.run_git_command(root / "nowhere", args) == ("", "git not found", 1)
    late = "git command timed out after %ss: args=%s"
    ends = [
        ("DEBUG", ("git command failed: args=%s rc=%s stderr=%s", args, -9, "\ufffd"), NoneType),
        ("WARNING", (late, 0.05, args), subprocess.TimeoutExpired),
        ("WARNING", ("git executable not found while running args=%s", args), FileNotFoundError),
    ]
    assert log == [(level, "run_git_command", *end) for level, *end in ends]


def test_what_was_being_handled_is_so_again_behind_a_handler(either: ModuleType) -> None:
    def ask() -> Iterator[object]:
        yield either.run_git_command("/nowhere", ["x"])
        with pytest.raises(ValueError, match="outside the calendar"):
            either.parse_time_spec("9999999w")
        yield sys.exception()

    inside, error = ask(), KeyError()
    try:
        raise error
    except KeyError:
        assert next(inside) == either.run_git_command("/nowhere", ["x"])
        assert next(inside) is sys.exception() is error


def test_a_handler_leaves_a_generator_without_the_exception_of_its_caller(
    either: ModuleType,
) -> None:
    def handle_none() -> Iterator[object]:
        yield either.run_git_command("/nowhere", ["x"])
        yield sys.exception()

    generator = handle_none()
    try:
        {}["missing"]
    except KeyError:
        next(generator)
    assert next(generator) is None


def test_every_other_launch_error_passes_and_nothing_is_logged(
    either: ModuleType, fake_git: FakeGit, log: Log, monkeypatch: pytest.MonkeyPatch
) -> None:
    root = fake_git("exit 0")
    program = root / "git"
    program.write_text("no program")
    monkeypatch.setenv("PATH", str(root))
    calls = [(root, args) for args in (("log",), None, [1], ["a\0b"], ["\ud800"], ["log"])]
    for where, args in [*calls, (program, ["log"])]:
        with pytest.raises((TypeError, ValueError, OSError)) as caught:
            either.run_git_command(where, args)
        names = [frame.name for frame in traceback.extract_tb(caught.tb)]
        assert names.count("run_git_command") == 1
    assert names[-1] != "run_git_command"  # but the library's own that has raised
    monkeypatch.setattr(subprocess, "run", Mock(side_effect=KeyboardInterrupt))
    with pytest.raises(KeyboardInterrupt):
        either.run_git_command("/", ["x"])
    assert log == []
