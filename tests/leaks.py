"""Calls every function over and over, and prints which calls leave something behind."""

import gc
import logging
import os
import sys
from collections.abc import Callable
from functools import partial
from itertools import batched
from pathlib import Path
from typing import Any

from worlds import PURE_CALLS, REBOUND_CALLS, answer, rebound, shared_objects

from orvel_tarnix.utils import git_utils

CALLS_A_ROUND = 40
# The interpreter's own caches fill for some hundred calls; a leak grows in every round.
MOST_ROUNDS = 50


def usage(objects: list[Any]) -> dict[str, int]:
    """What a leak would make grow."""
    gc.collect()
    counts = {f"references of {each!r:.60}": sys.getrefcount(each) for each in objects}
    counts["blocks"] = sys.getallocatedblocks()
    if hasattr(sys, "gettotalrefcount"):
        counts["references"] = sys.gettotalrefcount()
    return counts


def leaks(run: Callable[[], object], objects: list[Any]) -> set[str]:
    """What grows in each round by something for every second call."""
    before = usage(objects)
    growing = set(before)
    for _ in range(MOST_ROUNDS):
        for _ in range(CALLS_A_ROUND):
            run()
        after = usage(objects)
        growing = {key for key in growing if after[key] - before[key] >= CALLS_A_ROUND // 2}
        if not growing:
            break
        before = after
    return growing


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
    assert leaks(lambda: kept.append(object()), []) == {"blocks"}
    for call in PURE_CALLS + REBOUND_CALLS:
        with rebound(git_utils, call.world):
            for leak in leaks(partial(answer, git_utils, call), shared_objects(git_utils, call)):
                print(f"{call!r:.120}: {leak}")
    print(len(PURE_CALLS + REBOUND_CALLS), "calls")


if __name__ == "__main__":
    main()
