"""Calls every function over and over, and prints which calls leave something behind."""

import gc
import logging
import os
import sys
from collections.abc import Callable
from functools import partial
from itertools import batched
from pathlib import Path

from worlds import WORLDLY_CALLS, answer, rebound

from orvel_tarnix.utils import git_utils

CALLS_A_ROUND = 40
# The interpreter's own caches fill for some hundred calls; a leak grows in every round.
MOST_ROUNDS = 50


def usage() -> int:
    """What a leak would make grow; a debug build counts references too."""
    gc.collect()
    return sys.getallocatedblocks() + getattr(sys, "gettotalrefcount", int)()


def leaks(run: Callable[[], object]) -> bool:
    """Whether each round leaves something behind for every second call."""
    before = usage()
    for _ in range(MOST_ROUNDS):
        for _ in range(CALLS_A_ROUND):
            run()
        after = usage()
        if after - before < CALLS_A_ROUND // 2:
            return False
        before = after
    return True


def held() -> tuple[int, int, str]:
    """How many files and threads this process has, and which children."""
    children = Path("/proc/thread-self/children").read_text(encoding="ascii")
    files, threads = (len([*Path("/proc/self", what).iterdir()]) for what in ("fd", "task"))
    return files, threads, children


def main() -> None:
    """Looks at memory, or at what the system lends while gits on those paths run."""
    gc.freeze()
    logging.disable()
    if sys.argv[1:]:
        before = held()
        for path, limit in batched(sys.argv[1:], 2, strict=True):
            os.environ["PATH"] = path
            outcomes = {git_utils.run_git_command("/", ["x"], float(limit)) for _ in range(250)}
            print(*outcomes)
        print("the same" if held() == before else f"{before} became {held()}")
        return
    kept: list[object] = []
    assert leaks(lambda: kept.append(object()))
    for call in WORLDLY_CALLS:
        with rebound(git_utils, call.world):
            if leaks(partial(answer, git_utils, call)):
                print(f"{call!r:.120} leaks")
    print(len(WORLDLY_CALLS), "calls")


if __name__ == "__main__":
    main()
