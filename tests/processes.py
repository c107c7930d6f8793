"""What tests ask about processes that they did not start themselves."""

import time
from collections.abc import Callable
from pathlib import Path

from python_process import PROCESS_LIMIT


def wait_for(condition: Callable[[], bool]) -> None:
    """Wait until something has happened in another process."""
    end = time.monotonic() + PROCESS_LIMIT
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.01)


def count_lines(file: Path) -> int:
    """How many lines a file has, which is perhaps not there yet."""
    return file.read_text().count("\n") if file.exists() else 0


def is_running(pid: str) -> bool:
    """Whether there is such a process that has not ended."""
    try:
        status = Path("/proc", pid, "stat").read_text()
    except (FileNotFoundError, ProcessLookupError):  # it may end between open() and read()
        return False
    return status.rpartition(")")[2].split()[0] not in {"Z", "X"}
