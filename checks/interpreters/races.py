"""Calls every function in many threads while others change what the functions read.

    races.py MODULE MODE THREADS SECONDS

MODULE is orvel_tarnix.utils.git_utils, or plain_python: races found with it belong to the
interpreter. With an interpreter that counts all references, the mode "references" looks for calls
that leak some.
"""

import gc
import importlib
import logging
import sys
import threading
import time
from collections.abc import Callable
from functools import partial
from random import choice, randrange
from types import FunctionType, ModuleType
from typing import Any

from calls import CALLS, Call, outcome_of
from canned_git import run_canned_git, subprocess_with
from compare import StoppedClock, native

CALLS_PER_ROUND = 40
MAX_ROUNDS = 50
MAX_DRIFT = 0.1


def prepare(module: ModuleType) -> None:
    """Replaces git, which would take nearly all of the time, and stops the clock."""
    vars(module).update(subprocess_with(run_canned_git), datetime=StoppedClock)
    functions = [each for each in vars(native).values() if isinstance(each, FunctionType)]
    own = {each.__name__ for each in functions if each.__module__ == native.__name__}
    assert {call.name for call in CALLS} == own


def names(module: ModuleType) -> Callable[[], None]:
    """Deletes names, or rebinds them to equivalent values, and restores them."""
    own = [(name, value) for name, value in vars(module).items() if not name.startswith("__")]

    def change() -> None:
        name, value = choice(own)
        if isinstance(value, dict):
            setattr(module, name, dict(value))
        elif isinstance(value, type):
            setattr(module, name, type(name, (value,), {}))
        elif callable(value):
            setattr(module, name, partial(value))
        else:
            vars(module).pop(name, None)
        setattr(module, name, value)

    return change


def tables(module: ModuleType) -> Callable[[], None]:
    """Adds and removes entries of the module's dictionaries, one by one or all at once."""
    found = (value for name, value in vars(module).items() if not name.startswith("__"))
    own = [(each, dict(each)) for each in found if isinstance(each, dict)]

    def change() -> None:
        table, entries = choice(own)
        table.pop(choice([*entries]), None)
        table.update({f"{number}": "" for number in range(randrange(50))})
        table.clear()
        table.update(entries)

    return change


def lists(_module: ModuleType) -> Callable[[], None]:
    """Grows, empties and refills the lists that are passed in."""
    passed = [arg for call in CALLS for arg in (*call.args, *call.keywords.values())]
    own = [(each, list(each)) for each in passed if isinstance(each, list)]

    def change() -> None:
        each, items = choice(own)
        each.append(choice(items))
        each.extend(items * randrange(9))
        del each[randrange(9) :]
        each.clear()
        each.extend(items)

    return change


def classes(module: ModuleType) -> Callable[[], None]:
    """Gives record classes a constructor with forty cells or a descriptor, and removes it.

    The code and the cells of a function are left alone: the interpreter itself writes them in a
    way that no other thread can read them without a race.
    """
    cells = ", ".join(f"cell{number}" for number in range(40))
    space: dict[str, Any] = {}
    exec(f"def make({cells}):\n def init(*_): return {cells} and None\n return init", space)
    own = [module.FileChange, module.CommitChanges, module.LineSpan]
    records = [(each, each.__init__, each.__match_args__[0]) for each in own]

    def change() -> None:
        record, init, field = choice(records)
        record.__init__ = space["make"](*[object() for _ in range(40)])
        record.__init__ = init
        setattr(record, field, property(id, lambda *_: None))
        delattr(record, field)

    return change


def garbage(_module: ModuleType) -> Callable[[], None]:
    """Collects garbage, and searches the newest objects for referrers."""

    def change() -> None:
        gc.collect(randrange(3))
        gc.get_referrers(*gc.get_objects()[-5:])

    return change


# What one thread does meanwhile in each mode but "calls"
CHANGES = {
    "names": names,
    "tables": tables,
    "lists": lists,
    "classes": classes,
    "garbage": garbage,
}


def race(module: ModuleType, mode: str, threads: int, seconds: float) -> str:
    """Calls in all threads, or in all but one, which changes things; returns the counts."""
    expected = [outcome_of(module, call) for call in CALLS]
    change = CHANGES[mode](module) if mode in CHANGES else None
    ends = time.monotonic() + seconds
    done: list[tuple[object, int]] = []

    def call_one() -> None:
        at = randrange(len(CALLS))
        try:
            given = outcome_of(module, CALLS[at])
        except AttributeError as error:  # what a patched class has made may lack its fields
            given = repr(error)
        # While names are rebound any answer is right that leaves the process alive.
        assert change is not None or given == expected[at], (
            f"{CALLS[at]!r:.200} gave {given!r:.200}"
        )

    def work(job: Callable[[], None]) -> None:
        number = 0
        while time.monotonic() < ends:
            job()
            number += 1
        done.append((job, number))

    jobs = [*[call_one] * (threads - 1), call_one if change is None else change]
    workers = [threading.Thread(target=work, args=(job,)) for job in jobs]
    for each in workers:
        each.start()
    for each in workers:
        each.join()
    calls = sum(number for job, number in done if job is call_one)
    return f"{calls} calls, {sum(number for _, number in done) - calls} changes"


def drift(module: ModuleType) -> str:
    """The most that one call changes the total number of references."""

    def references(call: Call) -> int:
        for _ in range(CALLS_PER_ROUND):
            outcome_of(module, call)
        gc.collect()
        return sys.gettotalrefcount()

    worst = 0.0, ""
    for call in CALLS:
        before = references(call)
        # The interpreter's own caches fill for some hundred calls; a leak grows in every round.
        for _ in range(MAX_ROUNDS):
            after = references(call)
            kept = (after - before) / CALLS_PER_ROUND
            if kept < MAX_DRIFT:
                break
            before = after
        worst = max(worst, (kept, call.name))
    assert worst[0] < MAX_DRIFT, f"each call of {worst[1]} keeps {worst[0]} references"
    return f"{len(CALLS)} calls, at most {worst[0]} references a call"


def main(name: str, mode: str, threads: str, seconds: str) -> None:
    """Prints the result of one mode."""
    failures = []
    threading.excepthook = failures.append
    logging.disable()
    sys.setswitchinterval(1e-5)
    module = importlib.import_module(name)
    prepare(module)
    if mode == "references":
        print(drift(module))
    else:
        print(race(module, mode, int(threads), float(seconds)))
    if failures:
        sys.exit(f"{failures[0].exc_value!r}")


main(*sys.argv[1:])
