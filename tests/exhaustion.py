"""Prints which calls leave something behind, or go wrong as their n-th allocation fails, for any n.

The interpreter's allocators are the ones that fail; C++ has its own, which `grow` exhausts.
"""

import gc
import inspect
import logging
import resource
import sys
from collections.abc import Callable, Sequence
from functools import partial
from itertools import count
from pathlib import Path

try:
    import _testcapi
except ImportError:
    sys.exit("allocations cannot be made to fail: this interpreter has no _testcapi")

from compare import described
from worlds import WORLDLY_CALLS, Call, answer, rebound, shared_objects

from orvel_tarnix.utils import git_utils

# When it cannot make the object of a Python function's frame, CPython 3.13 loses the exception
# that leaves that function; its os.stat takes having no memory for having no path.
INTERPRETERS_OWN = (
    "SystemError: <function ",
    "SystemError: error return without exception set",
    "TypeError: stat: path should be ",
)


def starved(function: Callable[[], object], nth: int) -> tuple[object, bool]:
    """What the function gives or raises without its n-th allocation, and whether it has so many."""
    has_so_many = True
    sys._getframe()
    _testcapi.set_nomemory(nth, nth + 1)
    try:
        result = function()
    except Exception as error:
        result = error
    try:
        for _ in range(30):
            bytearray(2000)
    except MemoryError:
        has_so_many = False
    finally:
        _testcapi.remove_mem_hooks()
    return result, has_so_many


def sweep(function: Callable[[], object], expected: object, shared: Sequence[object]) -> set[str]:
    """Every outcome that is neither the expected one nor a MemoryError, and references kept."""
    wrong = set()
    for nth in count():
        gc.collect()
        before = [sys.getrefcount(each) for each in shared]
        result, has_so_many = starved(function, nth)
        if not isinstance(result, MemoryError):
            made = type(result).__name__, repr(result)
            found = described(result) if isinstance(result, Exception) else made
            if found != expected and not ": ".join(found[:2]).startswith(INTERPRETERS_OWN):
                wrong.add(f"{nth}: {found}")
        del result
        gc.collect()
        if before != [sys.getrefcount(each) for each in shared]:
            wrong.add(f"{nth}: references are kept")
        if not has_so_many:
            break
    return wrong


def sweep_call(call: Call) -> set[str]:
    """The same of one call of a native function, as its Python face calls it."""
    with rebound(git_utils, call.world):
        expected = answer(git_utils, call)
        function = getattr(git_utils, call.name)
        bound = inspect.signature(function).bind(*call.args, **call.kwargs)
        bound.apply_defaults()
        native = partial(function.__closure__[0].cell_contents, *bound.arguments.values())
        return sweep(native, expected, shared_objects(git_utils, call))


def leaks(run: Callable[[], object]) -> bool:
    """Whether each of fifty rounds leaves something behind for every second call.

    The interpreter's own caches fill for some hundred calls; a leak grows in every round.
    """
    before = -100
    for _ in range(50):
        gc.collect()
        after = sys.getallocatedblocks()
        if after - before < 20:
            return False
        before = after
        for _ in range(40):
            run()
    return True


def grow() -> None:
    """An escaped name that is longer than what memory is left for its bytes."""
    name = "a" * (64 << 20)
    size = int(Path("/proc/self/statm").read_text(encoding="ascii").split()[0])
    resource.setrlimit(resource.RLIMIT_AS, (size * resource.getpagesize() + (32 << 20),) * 2)
    try:
        git_utils._unquote(name)
    except MemoryError:
        print("MemoryError")


def main(*, repeats: bool) -> None:
    """Prints what is wrong, and on standard error what is looked at, should that crash."""
    logging.disable()
    gc.freeze()
    kept: list[object] = []
    assert not repeats or leaks(lambda: kept.append(object()))
    for call in WORLDLY_CALLS:
        print(f"{call!r:.120}", file=sys.stderr)
        with rebound(git_utils, call.world):
            if repeats and leaks(partial(answer, git_utils, call)):
                print(f"{call!r:.120} leaks")
        for wrong in () if repeats else sweep_call(call):
            print(f"{call!r:.120}: {wrong:.200}")
    print(len(WORLDLY_CALLS), "calls")


if __name__ == "__main__":
    grow() if sys.argv[1:] == ["grow"] else main(repeats=sys.argv[1:] == ["leaks"])
