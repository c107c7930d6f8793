"""How the programs behave at the command line: exit codes, one-line errors, atomic writes."""

import os
import stat
import sys
import threading
from collections.abc import Callable
from pathlib import Path
from typing import BinaryIO, NoReturn

from shared.git import NO_FETCHING, explain
from shared.interrupt import end_on_interrupt, stop_processes
from shared.terminal import printable

# As if SIGPIPE had killed the program (128 and the number of the signal): its result is unknown.
PIPE_CLOSED = 141


class ProgramError(Exception):
    """Why a program cannot do its work, in one line for a person."""


def forbid_fetching() -> None:
    """Keep every git that this process starts from fetching the objects a partial clone lacks."""
    os.environ.update(NO_FETCHING)


def run(name: str, command: Callable[[], int], *errors: type[Exception]) -> NoReturn:
    """Run a command and leave with its exit code, or with one line and 2 when it fails.

    Failures are the given errors, ``ProgramError`` and ``OSError``.
    """
    if sys.stderr is None:  # it is closed
        sys.stderr = os.fdopen(os.open(os.devnull, os.O_WRONLY), "w")
    if sys.stdout is None:
        _leave(2, f"{name}: standard output is closed")
    end_on_interrupt(name, lambda: "interrupted")
    # A character that the locale cannot encode is written as an escape.
    sys.stdout.reconfigure(errors="backslashreplace")  # type: ignore[union-attr]
    try:
        code = command()
        sys.stdout.flush()
    except BrokenPipeError:
        # The interpreter must not fail to flush the rest at exit.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        _leave(PIPE_CLOSED)
    except (ProgramError, OSError, *errors) as error:
        _leave(2, f"{name}: {printable(explain(error))}")
    _leave(code)


def _leave(code: int, line: str = "") -> NoReturn:
    if line:
        print(line, file=sys.stderr)
    if threading.active_count() > 1:  # a thread may wait for input or for git without an end
        stop_processes()
        for stream in (sys.stdout, sys.stderr):
            stream.flush()
        os._exit(code)
    sys.exit(code)


def open_input(source: str) -> BinaryIO:
    """A file to read bytes from, or standard input where the name is ``-``."""
    if source != "-":
        return Path(source).open("rb")
    if sys.stdin is None:
        raise ProgramError("standard input is closed")
    # A copy: the interpreter could not close sys.stdin at its end while a thread reads it.
    return os.fdopen(os.dup(0), "rb")


def write_atomically(path: Path, text: str) -> None:
    """Write a file so that a failure, a full disk for example, keeps what was there before."""
    exists = path.exists()
    if exists and not path.is_file():  # a pipe or a device cannot be replaced
        path.write_text(text, "utf-8", "replace")
        return
    target = path.resolve()  # replace the target of a symbolic link, not the link
    part = target.with_name(f".{target.name}.{os.getpid()}.part")
    try:
        with part.open("x", encoding="utf-8", errors="replace") as file:
            if exists:
                os.fchmod(file.fileno(), stat.S_IMODE(target.stat().st_mode))
            file.write(text)
        part.replace(target)
    except OSError as error:  # name the file that was asked for, not the part
        raise OSError(error.errno, error.strerror, str(path)) from error
    finally:
        part.unlink(missing_ok=True)
