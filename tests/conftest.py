"""A hermetic world for the tests, and their tools to build repositories and to watch git."""

import logging
import os
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from types import ModuleType

import plain_python
import pytest
from hypothesis import settings

from orvel_tarnix.utils import git_utils

pytest.register_assert_rewrite("twin")
settings.register_profile("tests", deadline=None, max_examples=200)
settings.load_profile("tests")

PERSONS = {"AUTHOR": ("Ann Lee", "ann@example.org"), "COMMITTER": ("Cy Dee", "cy@example.org")}

type Runs = Callable[..., list[list[str]]]


@contextmanager
def standard_input(source: int) -> Iterator[None]:
    """Let child processes inherit `source` as their standard input."""
    kept = os.dup(0)
    os.dup2(source, 0)
    try:
        yield
    finally:
        os.dup2(kept, 0)
        os.close(kept)


@pytest.fixture(autouse=True)
def _hermetic(tmp_path_factory: pytest.TempPathFactory) -> Iterator[None]:
    home = str(tmp_path_factory.mktemp("home"))
    with pytest.MonkeyPatch.context() as patch:
        for name in [name for name in os.environ if name.startswith("GIT_")]:
            patch.delenv(name)
        for role, (name, email) in PERSONS.items():
            patch.setenv(f"GIT_{role}_NAME", name)
            patch.setenv(f"GIT_{role}_EMAIL", email)
        config = {"GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_SYSTEM": os.devnull}
        machine = {"HOME": home, "XDG_CONFIG_HOME": home, "LC_ALL": "C.UTF-8", "TZ": "UTC"}
        for name, value in {**config, "GIT_CONFIG_NOSYSTEM": "1", **machine}.items():
            patch.setenv(name, value)
        time.tzset()
        with Path(os.devnull).open("rb") as nothing, standard_input(nothing.fileno()):
            yield
    time.tzset()


@pytest.fixture(params=[git_utils, plain_python], ids=["native", "plain"])
def either(request: pytest.FixtureRequest) -> ModuleType:
    """Give the native module, then its plain twin: a fact about the one holds for the other."""
    return request.param


class Repository:
    """A real repository, made step by step."""

    def __init__(self, root: Path) -> None:
        self.root = root
        root.mkdir()
        self.git("init", "--quiet", "--initial-branch=main")

    def git(self, *args: str, **environment: str) -> str:
        """Run git, which has to succeed, and give what it printed."""
        command, environment = ["git", *args], os.environ | environment
        run = subprocess.run(command, cwd=self.root, env=environment, capture_output=True)
        assert run.returncode == 0, run.stderr
        return os.fsdecode(run.stdout)

    def commit(
        self,
        files: dict[str, str | bytes | None],
        date: str = "2026-01-01T00:00:00+00:00",
        author: str = "Ann Lee <ann@example.org>",
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
        message = ("--quiet", "--message=work", f"--author={author}")
        self.git("commit", *message, GIT_AUTHOR_DATE=date, GIT_COMMITTER_DATE=date)
        return self.git("rev-parse", "HEAD").strip()


@pytest.fixture
def repository(tmp_path: Path) -> Repository:
    """Give a repository without commits, on its branch main."""
    return Repository(tmp_path / "repository")


class FakeGit:
    """A program named git, first on the search path, that does what real git will not do."""

    def __init__(self, directory: Path) -> None:
        self.directory = directory
        directory.mkdir()

    def answers(self, stdout: bytes = b"", stderr: bytes = b"", end: str = "exit 0") -> None:
        """At each call print those bytes, then run the shell command `end`."""
        (self.directory / "stdout").write_bytes(stdout)
        (self.directory / "stderr").write_bytes(stderr)
        program = self.directory / "git"
        record = 'for each; do printf "%s\\0" "$each" >> calls; done; echo >> calls'
        show = "cat stdout; cat stderr >&2"
        program.write_text(f"#!/bin/sh\ncd '{self.directory}'\n{record}\n{show}\n{end}\n")
        program.chmod(0o755)

    def calls(self) -> list[list[str]]:
        """The arguments of each call so far, as long as none ends in a line feed."""
        calls = self.directory / "calls"
        lines = calls.read_text().split("\0\n")[:-1] if calls.exists() else []
        return [line.split("\0") for line in lines]


@pytest.fixture
def fake_git(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> FakeGit:
    """Put a fake git first on the search path."""
    fake = FakeGit(tmp_path / "fake")
    monkeypatch.setenv("PATH", str(fake.directory), prepend=os.pathsep)
    return fake


@pytest.fixture
def answer_runs(either: ModuleType, monkeypatch: pytest.MonkeyPatch) -> Runs:
    """Answer the runs of git with given triples instead; the list of their arguments is given."""

    def answer(*triples: tuple[str, str, int]) -> list[list[str]]:
        left, calls = iter(triples), []
        run = lambda _root, args: calls.append(args) or next(left)  # noqa: E731
        monkeypatch.setattr(either, "run_git_command", run)
        return calls

    return answer


class LogWatcher(logging.Handler):
    """Keeps the records that it sees and the exceptions that were handled meanwhile."""

    def __init__(self) -> None:
        super().__init__()
        self.records: list[tuple[str, str, str]] = []
        self.handled: list[BaseException | None] = []

    def emit(self, record: logging.LogRecord) -> None:
        """Take the record down."""
        self.records.append((record.levelname, record.funcName, record.getMessage()))
        self.handled.append(sys.exception())


@pytest.fixture
def log(either: ModuleType, monkeypatch: pytest.MonkeyPatch) -> LogWatcher:
    """Watch what the module logs."""
    watcher = LogWatcher()
    monkeypatch.setattr(either, "logger", logging.Logger("watched"))
    either.logger.addHandler(watcher)
    return watcher
