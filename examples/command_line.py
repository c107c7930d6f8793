"""How the examples behave as commands: one line for an error, quiet when a pipe closes."""

import os
import sys
from collections.abc import Callable
from typing import NoReturn

from branch_facts import ReportError
from report_text import printable

from orvel_tarnix.utils.git_utils import GitError


def forbid_fetching() -> None:
    """Let no git that is started from here fetch objects that a partial clone left out.

    The repository's own configuration says where from and how, so fetching can start any program:
    who reads a repository that somebody else made should not do it unasked.
    """
    os.environ["GIT_ALLOW_PROTOCOL"] = "none"
    os.environ["GIT_NO_LAZY_FETCH"] = "1"  # heeded from git 2.45 on, with a clearer message


def columns() -> int:
    """How wide the terminal is that the output goes to; 0 for a pipe or a file."""
    return os.get_terminal_size(sys.stdout.fileno()).columns if sys.stdout.isatty() else 0


def run(name: str, command: Callable[[], int]) -> NoReturn:
    """Run a command and leave with its exit code, or with 2 when it cannot do its work."""
    # Whatever the locale or a name holds, what cannot be encoded is written as an escape.
    sys.stdout.reconfigure(errors="backslashreplace")  # type: ignore[union-attr]
    try:
        code = command()
        sys.stdout.flush()
    except BrokenPipeError:
        # The reader has seen enough; nor may the interpreter fail to flush the rest at exit.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        code = 0
    except (ReportError, GitError, OSError) as error:
        print(f"{name}: {_reason(error)}", file=sys.stderr)
        code = 2
    sys.exit(code)


def _reason(error: Exception) -> str:
    """The line of git's, which may warn and hint, that says what happened."""
    lines = str(error).splitlines() or [type(error).__name__]
    return printable(next((line for line in lines if not line.startswith("warning:")), lines[0]))
