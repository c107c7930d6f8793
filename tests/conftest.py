"""Fixtures: a hermetic environment, repositories, replacements for git, Python processes."""

import logging
import os
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from functools import partial
from pathlib import Path
from types import ModuleType
from typing import Any
from unittest.mock import Mock

import pytest
from compare import native, plain
from python_process import PROCESS_LIMIT

pytest.register_assert_rewrite("changed_copies")

# What git and the C library read, whatever the caller's own settings are.
ENVIRONMENT = {
    "GIT_AUTHOR_NAME": "Ann Lee",
    "GIT_AUTHOR_EMAIL": "ann@example.org",
    "GIT_COMMITTER_NAME": "Cy Dee",
    "GIT_COMMITTER_EMAIL": "cy@example.org",
    "GIT_CONFIG_GLOBAL": os.devnull,
    "GIT_CONFIG_SYSTEM": os.devnull,
    "LC_ALL": "C.UTF-8",
    "TZ": "UTC",
}
EMPTY_INPUT = os.open(os.devnull, os.O_RDONLY)
EXAMPLES = Path(__file__).parents[1] / "examples"
PYTHON_PATH = f"{EXAMPLES}{os.pathsep}{EXAMPLES.parent}"

type FakeGit = Callable[[str], Path]
# For each log record: its level, the function that logs, the message with its arguments, and the
# type of the exception that is being handled.
type Log = list[tuple[str, str, tuple[object, ...], type]]
type Run = Callable[..., tuple[int, str, str]]
type FakeGitResults = Callable[..., list[Any]]
type Start = Callable[..., subprocess.Popen[str]]


@pytest.fixture(autouse=True)
def _hermetic(monkeypatch: pytest.MonkeyPatch, tmp_path_factory: pytest.TempPathFactory) -> None:
    for name in [name for name in os.environ if name.startswith(("GIT_", "PYTHONUNBUFFERED"))]:
        monkeypatch.delenv(name)
    home = str(tmp_path_factory.mktemp("home"))
    for name, value in (ENVIRONMENT | {"HOME": home, "XDG_CONFIG_HOME": home}).items():
        monkeypatch.setenv(name, value)
    time.tzset()
    os.dup2(EMPTY_INPUT, 0)


@pytest.fixture(params=[native, plain], ids=["native", "plain"])
def module(request: pytest.FixtureRequest) -> ModuleType:
    """Return the native module, then the plain-Python one: each fact must hold for both."""
    return request.param


class Repository:
    """A real repository, whose history a test makes commit by commit."""

    def __init__(self, root: Path) -> None:
        self.root = root
        root.mkdir()
        self.git("init", "--quiet", "--initial-branch=main")

    def git(self, *args: str, **environment: str) -> str:
        """Run git, expect success, and return what it printed."""
        options = {"cwd": self.root, "env": os.environ | environment, "timeout": PROCESS_LIMIT}
        return os.fsdecode(subprocess.check_output(["git", *args], **options))

    def commit(
        self, files: dict[str, str | bytes | None], date: str = "2026-01-01T00:00:00Z", by: str = ""
    ) -> str:
        """Write the files, remove those that are None, commit all, and return the commit's id."""
        for name, content in files.items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            if content is None:
                path.unlink()
            else:
                path.write_bytes(content if isinstance(content, bytes) else content.encode())
        self.git("add", "--all")
        author = [f"--author={by}"] if by else []
        dates = {"GIT_AUTHOR_DATE": date, "GIT_COMMITTER_DATE": date}
        self.git("commit", "--quiet", "--message=work", *author, **dates)
        return self.git("rev-parse", "HEAD").strip()


@pytest.fixture
def repository(tmp_path: Path) -> Repository:
    """Return a repository without commits, on its branch main."""
    return Repository(tmp_path / "repository")


def make_git(folder: Path, script: str) -> Path:
    """Write a program named git into the folder, which runs a shell script there."""
    folder.mkdir(exist_ok=True)
    program = folder / "git"
    program.write_text(f"#!/bin/sh\ncd '{folder}'\n{script}\n")
    program.chmod(0o755)
    return folder


@pytest.fixture
def fake_git(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> FakeGit:
    """Write a git that runs a shell script, and put it first on the search path."""
    monkeypatch.setenv("PATH", str(tmp_path / "fake"), prepend=os.pathsep)
    return partial(make_git, tmp_path / "fake")


@pytest.fixture
def fake_git_results(module: ModuleType, monkeypatch: pytest.MonkeyPatch) -> FakeGitResults:
    """Let run_git_command return the given triples; return the list of its calls."""

    def answer(*triples: tuple[str, str, int]) -> list[Any]:
        run = Mock(side_effect=triples)
        monkeypatch.setattr(module, "run_git_command", run)
        return run.call_args_list

    return answer


@pytest.fixture
def log(module: ModuleType, monkeypatch: pytest.MonkeyPatch) -> Log:
    """Return the list to which each log record of the module is added."""
    records: Log = []

    def handle(record: logging.LogRecord) -> None:
        error = sys.exception()
        # Inside an except clause, the traceback begins with the function itself.
        assert error is None or error.__traceback__.tb_frame.f_code.co_name == record.funcName
        message = record.msg, *record.args
        records.append((record.levelname, record.funcName, message, type(error)))

    monkeypatch.setattr(module, "logger", logging.Logger("listed"))
    monkeypatch.setattr(module.logger, "handle", handle)
    return records


@pytest.fixture
def start(tmp_path: Path) -> Iterator[Start]:
    """Start Python in a session of its own, which is killed at the end of the test."""
    started = []

    def start(*args: Any, path: str = PYTHON_PATH, **options: Any) -> subprocess.Popen[str]:
        defaults = {
            "stdin": subprocess.PIPE,
            "stdout": subprocess.PIPE,
            "stderr": subprocess.PIPE,
            "encoding": "utf-8",
            "cwd": tmp_path,
            "env": os.environ | {"PYTHONPATH": path, "TMPDIR": str(tmp_path)},
            "start_new_session": True,
        }
        process = subprocess.Popen([sys.executable, *args], **defaults | options)
        started.append(process)
        return process

    yield start
    for process in started:
        with process:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)


@pytest.fixture
def run(start: Start) -> Run:
    """Run an example; return its exit code, its standard output and its standard error."""

    def run(script: str, *args: Any, given: str = "", **options: Any) -> tuple[int, str, str]:
        process = start("-W", "error", EXAMPLES / script, *args, **options)
        stdin = process.stdin
        if not given:
            # communicate() does not close it then: a git that reads it would wait for ever.
            process.stdin = None
        printed, stderr = process.communicate(given, timeout=PROCESS_LIMIT)
        process.stdin = stdin
        return process.returncode, printed or "", stderr

    return run
