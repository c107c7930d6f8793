"""Calls every function over and over, and prints which calls leave something behind."""

import gc
import logging
import sys
from collections.abc import Callable
from functools import partial

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


def main() -> None:
    """Prints the calls that leak, and how many it has looked at."""
    gc.freeze()
    logging.disable()
    kept: list[object] = []
    assert leaks(lambda: kept.append(object()))
    for call in WORLDLY_CALLS:
        with rebound(git_utils, call.world):
            if leaks(partial(answer, git_utils, call)):
                print(f"{call!r:.120} leaks")
    print(len(WORLDLY_CALLS), "calls")


if __name__ == "__main__":
    main()
