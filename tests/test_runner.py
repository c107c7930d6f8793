"""How git is run, and what is returned, raised and logged, however it ends."""

import subprocess
import sys
import traceback
from collections.abc import Iterator
from pathlib import Path
from types import MappingProxyType, ModuleType, NoneType, SimpleNamespace
from typing import Any
from unittest.mock import Mock

import pytest
from conftest import FakeGit, Log
from odd_objects import PathLikeWithOtherStr

FIXED_KEYWORDS = [("capture_output", True), ("encoding", "utf-8"), ("errors", "replace")]


@pytest.fixture
def launches(either: ModuleType, monkeypatch: pytest.MonkeyPatch) -> Mock:
    """Replace `subprocess.run` by a mock, and let the host add no keywords."""
    result = SimpleNamespace(stdout="out ", stderr=" err", returncode=0)
    launch = Mock(return_value=result)
    monkeypatch.setattr(subprocess, "run", launch)
    monkeypatch.setattr(either, "get_subprocess_hidden_kwargs", dict)
    return launch


def test_git_is_launched_with_these_keywords_in_this_order(
    either: ModuleType, launches: Mock
) -> None:
    triple = either.run_git_command("here", ["log", "-1"], timeout=None)
    assert triple == ("out ", " err", 0)
    assert launches.call_args.args == (["git", "log", "-1"],)
    expected = [("cwd", "here"), *FIXED_KEYWORDS, ("timeout", None)]
    assert list(launches.call_args.kwargs.items()) == expected


def test_the_directory_is_given_as_a_str_and_the_limit_is_30_seconds(
    either: ModuleType, launches: Mock
) -> None:
    either.run_git_command(PathLikeWithOtherStr(), ["log"])
    keywords = launches.call_args.kwargs
    assert (keywords["cwd"], keywords["timeout"]) == ("some/where", 30)


def test_keywords_of_the_host_come_last_and_are_asked_for_each_time(
    either: ModuleType, launches: Mock, monkeypatch: pytest.MonkeyPatch
) -> None:
    hidden = Mock(side_effect=[MappingProxyType({"z": 1, "env": None}), {}])
    monkeypatch.setattr(either, "get_subprocess_hidden_kwargs", hidden)
    either.run_git_command("here", ["log"])
    either.run_git_command("here", ["log"])
    first, second = (list(call.kwargs.items()) for call in launches.call_args_list)
    assert first == [*second, ("z", 1), ("env", None)]


SCRIPT_OF_A_FAILURE = (
    r"""printf 'a\r\nb\rc\377\n'; printf '<%s>' "$@"; printf ' \r\376 \n' >&2; kill -9 $$"""
)


def test_a_failure_is_returned_as_text_and_logged(
    either: ModuleType, fake_git: FakeGit, log: Log
) -> None:
    root = fake_git(SCRIPT_OF_A_FAILURE)
    args = ["a b", "", "é\n"]
    triple = either.run_git_command(root, args)
    assert triple == ("a\nb\nc\ufffd\n<a b><><é\n>", " \n\ufffd \n", -9)
    message = "git command failed: args=%s rc=%s stderr=%s"
    assert log == [("DEBUG", "run_git_command", (message, args, -9, "\ufffd"), NoneType)]


def test_a_timeout_is_returned_and_logged(either: ModuleType, fake_git: FakeGit, log: Log) -> None:
    root = fake_git("exec sleep 600")
    assert either.run_git_command(root, ["log"], 0.05) == ("", "Command timed out", 1)
    message = "git command timed out after %ss: args=%s"
    event = "WARNING", "run_git_command", (message, 0.05, ["log"]), subprocess.TimeoutExpired
    assert log == [event]


def test_a_missing_directory_is_returned_and_logged_as_a_missing_git(
    either: ModuleType, tmp_path: Path, log: Log
) -> None:
    triple = either.run_git_command(tmp_path / "nowhere", ["log"])
    assert triple == ("", "git not found", 1)
    message = "git executable not found while running args=%s"
    assert log == [("WARNING", "run_git_command", (message, ["log"]), FileNotFoundError)]


def test_a_generator_handles_its_callers_exception_again_after_a_handler(
    either: ModuleType,
) -> None:
    def call_with_handlers() -> Iterator[object]:
        yield either.run_git_command("/nowhere", ["x"])
        with pytest.raises(ValueError, match="outside the calendar"):
            either.parse_time_spec("9999999w")
        yield sys.exception()

    generator, error = call_with_handlers(), KeyError()
    try:
        raise error
    except KeyError:
        next(generator)
        assert either.run_git_command("/nowhere", ["x"]) == ("", "git not found", 1)
        assert sys.exception() is error
        assert next(generator) is error


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


WRONG_ARGUMENTS = {
    "a tuple": ("log",),
    "None": None,
    "a number": [1],
    "a NUL": ["a\0b"],
    "a lone surrogate": ["\ud800"],
}


@pytest.mark.parametrize("args", WRONG_ARGUMENTS.values(), ids=WRONG_ARGUMENTS)
def test_wrong_arguments_raise_and_nothing_is_logged(
    either: ModuleType, tmp_path: Path, log: Log, args: Any
) -> None:
    with pytest.raises((TypeError, ValueError)) as caught:
        either.run_git_command(tmp_path, args)
    assert function_names(caught).count("run_git_command") == 1
    assert log == []


def function_names(caught: pytest.ExceptionInfo[BaseException]) -> list[str]:
    """The functions of the traceback, from the outermost."""
    return [frame.name for frame in traceback.extract_tb(caught.tb)]


def test_other_launch_errors_raise_and_nothing_is_logged(
    either: ModuleType, fake_git: FakeGit, log: Log, monkeypatch: pytest.MonkeyPatch
) -> None:
    root = fake_git("exit 0")
    program = root / "git"
    program.write_text("this is not a program")
    monkeypatch.setenv("PATH", str(root))
    for directory, error in ((root, OSError), (program, NotADirectoryError)):
        with pytest.raises(error) as caught:
            either.run_git_command(directory, ["log"])
        names = function_names(caught)
        assert names.count("run_git_command") == 1
        assert names[-1] != "run_git_command", "the library's own frames come last"
    assert log == []


def test_an_interrupt_is_raised_and_not_logged(
    either: ModuleType, launches: Mock, log: Log
) -> None:
    launches.side_effect = KeyboardInterrupt
    with pytest.raises(KeyboardInterrupt):
        either.run_git_command("/", ["x"])
    assert log == []
