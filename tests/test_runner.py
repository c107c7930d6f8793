"""How git is run, and what is returned, raised and logged, however it ends."""

import subprocess
import sys
import traceback
from collections.abc import Iterator
from pathlib import Path
from types import MappingProxyType, ModuleType, NoneType, SimpleNamespace
from unittest.mock import Mock

import pytest
from conftest import FakeGit, Log


def test_git_is_launched_with_these_keywords_in_this_order(
    module: ModuleType, monkeypatch: pytest.MonkeyPatch
) -> None:
    launch = Mock(return_value=SimpleNamespace(stdout="out ", stderr=" err", returncode=0))
    monkeypatch.setattr(subprocess, "run", launch)
    host_keywords = MappingProxyType({"z": 1, "env": None})
    monkeypatch.setattr(module, "get_subprocess_hidden_kwargs", lambda: host_keywords)
    assert module.run_git_command(Path("here"), ["log", "-1"]) == ("out ", " err", 0)
    assert launch.call_args.args == (["git", "log", "-1"],)
    expected = {
        "cwd": "here",
        "capture_output": True,
        "encoding": "utf-8",
        "errors": "replace",
        "timeout": 30,
        **host_keywords,
    }
    assert list(launch.call_args.kwargs.items()) == list(expected.items())


FAILING_SCRIPT = (
    r"""printf 'a\r\nb\rc\377\n'; printf '<%s>' "$@"; printf ' \r\376 \n' >&2; kill -9 $$"""
)


def test_a_failure_is_returned_as_text_and_logged(
    module: ModuleType, fake_git: FakeGit, log: Log
) -> None:
    root = fake_git(FAILING_SCRIPT)
    args = ["a b", "", "é\n"]
    triple = module.run_git_command(root, args)
    assert triple == ("a\nb\nc\ufffd\n<a b><><é\n>", " \n\ufffd \n", -9)
    message = "git command failed: args=%s rc=%s stderr=%s"
    assert log == [("DEBUG", "run_git_command", (message, args, -9, "\ufffd"), NoneType)]


def test_a_timeout_is_returned_and_logged(module: ModuleType, fake_git: FakeGit, log: Log) -> None:
    root = fake_git("exec sleep 600")
    assert module.run_git_command(root, ["log"], 0.05) == ("", "Command timed out", 1)
    message = "git command timed out after %ss: args=%s"
    event = "WARNING", "run_git_command", (message, 0.05, ["log"]), subprocess.TimeoutExpired
    assert log == [event]


def test_a_missing_directory_is_returned_and_logged_as_a_missing_git(
    module: ModuleType, tmp_path: Path, log: Log
) -> None:
    triple = module.run_git_command(tmp_path / "nowhere", ["log"])
    assert triple == ("", "git not found", 1)
    message = "git executable not found while running args=%s"
    assert log == [("WARNING", "run_git_command", (message, ["log"]), FileNotFoundError)]


def test_the_exception_of_the_caller_is_handled_again_after_a_handler(module: ModuleType) -> None:
    error = KeyError()
    try:
        raise error
    except KeyError:
        module.run_git_command("/nowhere", ["x"])
        assert sys.exception() is error


def test_a_handler_leaves_a_generator_without_the_exception_of_its_caller(
    module: ModuleType,
) -> None:
    def fail_and_yield_handled_exception() -> Iterator[object]:
        yield module.run_git_command("/nowhere", ["x"])
        yield sys.exception()

    generator = fail_and_yield_handled_exception()
    try:
        {}["missing"]
    except KeyError:
        next(generator)
    assert next(generator) is None


def function_names(caught: pytest.ExceptionInfo[BaseException]) -> list[str]:
    """The functions of the traceback, from the outermost."""
    return [frame.name for frame in traceback.extract_tb(caught.tb)]


def test_other_launch_errors_raise_and_nothing_is_logged(
    module: ModuleType, fake_git: FakeGit, log: Log, monkeypatch: pytest.MonkeyPatch
) -> None:
    root = fake_git("exit 0")
    program = root / "git"
    program.write_text("this is not a program")
    monkeypatch.setenv("PATH", str(root))
    for directory, error in ((root, OSError), (program, NotADirectoryError)):
        with pytest.raises(error) as caught:
            module.run_git_command(directory, ["log"])
        names = function_names(caught)
        assert names.count("run_git_command") == 1
        assert names[-1] != "run_git_command", "the library's own frames come last"
    assert log == []
