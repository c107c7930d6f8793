"""What the tests of several examples set up: repositories, a terminal, and a row to expect."""

import os
import termios
from collections.abc import Callable
from contextlib import suppress

from conftest import EXAMPLES, Repository

MANY_REPOSITORIES = EXAMPLES / "many_repositories.py"
SINCE = "--since=2026-01-02"
# The cells after the path in the row of the branch that commit_topic() makes.
TOPIC_CELLS = ["2", "0", "2", "+2", "-2", "2", "2", "topic", "main"]


def commit_topic(repository: Repository) -> None:
    """Commit to main, then twice to a branch topic, which stays checked out."""
    repository.commit({"a": "1\n2\n", "b": "1\n"}, "2026-01-01T00:00Z")
    repository.git("checkout", "--quiet", "-b", "topic")
    repository.commit({"a": "1\ntwo\nthree\n"}, "2026-01-02T00:00Z")
    repository.commit({"b": None}, "2026-01-03T00:00Z", by="Bo <bo@example.org>")


def clone_without_blobs(repository: Repository, branch: str, name: str) -> None:
    """Clone a branch, without file contents and without a local main, to a sibling folder."""
    repository.git("config", "uploadpack.allowFilter", "true")
    repository.git("symbolic-ref", "HEAD", "refs/heads/main")
    partly = ["--quiet", "--filter=blob:none", "--no-checkout", f"--branch={branch}"]
    repository.git("clone", *partly, f"file://{repository.root}", f"../{name}")


def lines_on_a_terminal(columns: int, run: Callable[[int], object]) -> list[str]:
    """What a terminal of so many columns shows of the output of a program, which run() gets."""
    ours, theirs = os.openpty()
    termios.tcsetwinsize(theirs, (24, columns))
    with os.fdopen(ours, "rb", buffering=0) as screen:
        with os.fdopen(theirs):
            run(theirs)
        shown = b""
        # The kernel passes output on in the background, so one read() may return a part of it.
        with suppress(OSError):  # EIO at the end
            while True:
                shown += screen.read(4096)
    return shown.decode().splitlines()
