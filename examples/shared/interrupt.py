"""Ctrl-C: one line, the exit code that shells know, and no git is left running."""

import os
import signal
import subprocess
import sys
from collections.abc import Callable
from threading import get_ident, main_thread
from time import monotonic, sleep
from typing import Any, ClassVar

INTERRUPTED = 130  # 128 and the number of the signal
SECONDS_TO_START = 1  # seconds to wait for a process that is being started


class StoppableProcess(subprocess.Popen):
    """A process that another thread than the waiting one can end."""

    by_thread: ClassVar[dict[int, "StoppableProcess"]] = {}
    starting: ClassVar[set[int]] = set()  # threads that start a process which is not yet known
    is_stopped = False

    def __init__(self, *args: Any, **options: Any) -> None:
        thread = get_ident()
        self.starting.add(thread)
        try:
            if self.is_stopped:
                raise InterruptedError("the program is ending")
            super().__init__(*args, **options)
            self.by_thread[thread] = self
        finally:
            self.starting.discard(thread)
        if self.is_stopped and thread == main_thread().ident:
            signal.raise_signal(signal.SIGINT)  # it arrived while this process was being started


def stop_processes() -> None:
    """End the processes that all threads wait for, and start no more."""
    StoppableProcess.is_stopped = True
    end = monotonic() + SECONDS_TO_START
    while StoppableProcess.starting and monotonic() < end:
        sleep(0.001)
    for process in [*StoppableProcess.by_thread.values()]:
        process.terminate()


def end_on_interrupt(name: str, progress: Callable[[], str]) -> None:
    """From now on, let Ctrl-C end the program with one line about its progress."""

    def end(*_: object) -> None:
        if get_ident() in StoppableProcess.starting:
            StoppableProcess.is_stopped = True
            return
        # KeyboardInterrupt would be lost where it is raised in a destructor, and waiting for
        # threads could take as long as git does.
        stop_processes()
        after_bar = "\n" * sys.stderr.isatty()
        os.write(sys.stderr.fileno(), f"{after_bar}{name}: {progress()}\n".encode())
        os._exit(INTERRUPTED)

    subprocess.Popen = StoppableProcess  # type: ignore[misc] - where subprocess.run looks it up
    signal.signal(signal.SIGINT, end)
