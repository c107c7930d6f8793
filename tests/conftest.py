"""A hermetic world for the tests, and their tools to build repositories and to watch git."""

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
from worlds import PROCESS_LIMIT

IDENTITY = {"GIT_AUTHOR_NAME": "Ann Lee", "GIT_AUTHOR_EMAIL": "ann@example.org"}
IDENTITY |= {"GIT_COMMITTER_NAME": "Cy Dee", "GIT_COMMITTER_EMAIL": "cy@example.org"}
NOTHING = os.open(os.devnull, os.O_RDONLY)
EXAMPLES = Path(__file__).parents[1] / "examples"
PATH = f"{EXAMPLES}{os.pathsep}{EXAMPLES.parent}"

type FakeGit = Callable[[str], Path]
type Log = list[tuple[str, str, tuple[object, ...], type]]
type Run = Callable[..., tuple[int, str, str]]
type Runs = Callable[..., list[Any]]
type Start = Callable[..., subprocess.Popen[str]]


@pytest.fixture(autouse=True)
def _hermetic(monkeypatch: pytest.MonkeyPatch, tmp_path_factory: pytest.TempPathFactory) -> None:
    for name in [name for name in os.environ if name.startswith(("GIT_", "PYTHONUNBUFFERED"))]:
        monkeypatch.delenv(name)
    config = dict.fromkeys(["GIT_CONFIG_GLOBAL", "GIT_CONFIG_SYSTEM"], os.devnull)
    home = str(tmp_path_factory.mktemp("home"))
    machine = {"HOME": home, "XDG_CONFIG_HOME": home, "LC_ALL": "C.UTF-8", "TZ": "UTC"}
    for name, value in (IDENTITY | config | machine).items():
        monkeypatch.setenv(name, value)
    time.tzset()
    os.dup2(NOTHING, 0)


@pytest.fixture(params=[native, plain], ids=["native", "plain"])
def either(request: pytest.FixtureRequest) -> ModuleType:
    """Give the native module, then the plain one: a fact about the one holds for the other."""
    return request.param


class Repository:
    """A real repository, made step by step."""

    def __init__(self, root: Path) -> None:
        self.root = root
        root.mkdir()
        self.git("init", "--quiet", "--initial-branch=main")

    def git(self, *args: str, **environment: str) -> str:
        """Run git, which has to succeed, and give what it printed."""
        options = {"cwd": self.root, "env": os.environ | environment, "timeout": PROCESS_LIMIT}
        return os.fsdecode(subprocess.check_output(["git", *args], **options))

    def commit(
        self, files: dict[str, str | bytes | None], date: str = "2026-01-01T00:00:00Z", by: str = ""
    ) -> str:
        """Write the files, remove those that are None, and commit all; give the commit's id."""
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
    """Give a repository without commits, on its branch main."""
    return Repository(tmp_path / "repository")


def make_git(folder: Path, script: str) -> Path:
    """Make a program named git that runs a shell script in its folder; give that."""
    folder.mkdir(exist_ok=True)
    program = folder / "git"
    program.write_text(f"#!/bin/sh\ncd '{folder}'\n{script}\n")
    program.chmod(0o755)
    return folder


@pytest.fixture
def fake_git(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> FakeGit:
    """Put first on the search path a git that does what its script says, as real git will not."""
    monkeypatch.setenv("PATH", str(tmp_path / "fake"), prepend=os.pathsep)
    return partial(make_git, tmp_path / "fake")


@pytest.fixture
def answer_runs(either: ModuleType, monkeypatch: pytest.MonkeyPatch) -> Runs:
    """Answer the runs of git with given triples instead; the list of the calls is given."""

    def answer(*triples: tuple[str, str, int]) -> list[Any]:
        run = Mock(side_effect=triples)
        monkeypatch.setattr(either, "run_git_command", run)
        return run.call_args_list

    return answer


@pytest.fixture
def log(either: ModuleType, monkeypatch: pytest.MonkeyPatch) -> Log:
    """List what the module logs, each with the type of the exception that is handled meanwhile."""
    told: Log = []

    def handle(record: logging.LogRecord) -> None:
        error = sys.exception()
        assert error is None or error.__traceback__.tb_frame.f_code.co_name == record.funcName
        event = record.levelname, record.funcName, (record.msg, *record.args), type(error)
        told.append(event)

    monkeypatch.setattr(either, "logger", logging.Logger("watched"))
    monkeypatch.setattr(either.logger, "handle", handle)
    return told


@pytest.fixture
def start(tmp_path: Path) -> Iterator[Start]:
    """Start Python in a session of its own, which ends with the test."""
    started = []

    def start(*args: Any, path: str = PATH, **options: Any) -> subprocess.Popen[str]:
        usual = dict.fromkeys(["stdin", "stdout", "stderr"], subprocess.PIPE) | {"cwd": tmp_path}
        usual["env"] = os.environ | {"PYTHONPATH": path, "TMPDIR": str(tmp_path)}
        usual |= {"encoding": "utf-8", "start_new_session": True}
        started.append(subprocess.Popen([sys.executable, *args], **usual | options))
        return started[-1]

    yield start
    for process in started:
        with process:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)


@pytest.fixture
def run(start: Start) -> Run:
    """Run an example to its end: its exit code, what it printed, and what it complained of."""

    def run(script: str, *args: Any, given: str = "", **options: Any) -> tuple[int, str, str]:
        process = start("-W", "error", EXAMPLES / script, *args, **options)
        stdin = process.stdin
        if not given:  # it stays open, for no git may wait for it
            process.stdin = None
        printed, complaint = process.communicate(given, timeout=PROCESS_LIMIT)
        process.stdin = stdin
        return process.returncode, printed or "", complaint

    return run
