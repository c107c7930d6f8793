"""Prints which calls leave something behind, or go wrong as their n-th allocation fails, for any n.

The interpreter's allocators are the ones that fail; C++ has its own, which `grow` exhausts.
"""

import _testcapi  # not every distribution of Python has it in its main package
import gc
import inspect
import logging
import resource
import sys
from collections.abc import Callable, Iterator
from functools import partial
from itertools import count
from pathlib import Path
from unittest.mock import patch

from compare import described, native as git_utils, outcome
from worlds import WORLDLY_CALLS, Call, answer

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


def failures(call: Call) -> Iterator[str]:
    """Every outcome that is neither the expected one nor a MemoryError, and references kept."""
    expected = answer(git_utils, call)
    parts = [part for arg in call.args if isinstance(arg, list | tuple | dict) for part in arg]
    function = getattr(git_utils, call.name)
    bound = inspect.signature(function).bind(*call.args, **call.kwargs)
    bound.apply_defaults()
    # Just the native body: the Python function around it is the interpreter's.
    body = partial(function.__closure__[0].cell_contents, *bound.arguments.values())
    shared = [body.func, body.func.__self__, *vars(git_utils).values(), *call.args, *parts]
    for nth in count():
        gc.collect()
        before = [sys.getrefcount(each) for each in shared]
        result, has_so_many = starved(body, nth)
        if not isinstance(result, MemoryError):
            made = type(result).__name__, repr(result)
            found = described(result) if isinstance(result, Exception) else made
            if found != expected and not ": ".join(found[:2]).startswith(INTERPRETERS_OWN):
                yield f"{nth}: {found}"
        del result
        gc.collect()
        if before != [sys.getrefcount(each) for each in shared]:
            yield f"{nth}: references are kept"
        if not has_so_many:
            break


def leaks(call: Call) -> Iterator[str]:
    """Says so when each of fifty rounds leaves something behind for every second call."""
    # The interpreter's own caches fill for some hundred calls; a leak grows in every round.
    before = -100
    for _ in range(50):
        gc.collect()
        after = sys.getallocatedblocks()
        if after - before < 20:
            return
        before = after
        for _ in range(40):
            answer(git_utils, call)
    yield "leaks"


def grow() -> None:
    """An escaped name that is longer than what memory is left for its bytes."""
    name = "a" * (64 << 20)
    size = int(Path("/proc/self/statm").read_text(encoding="ascii").split()[0])
    resource.setrlimit(resource.RLIMIT_AS, (size * resource.getpagesize() + (32 << 20),) * 2)
    print(outcome(git_utils._unquote, name)[0])


def main(check: Callable[[Call], Iterator[str]]) -> None:
    """Prints what is wrong, and on standard error what is looked at, should that crash."""
    logging.disable()
    gc.freeze()
    kept: list[object] = []
    keeping = Call("keep", (), {}, {"keep": lambda: kept.append(object())})
    for call in [*WORLDLY_CALLS, *[keeping] * (check is leaks)]:
        print(f"{call!r:.120}", file=sys.stderr)
        with patch.dict(vars(git_utils), call.world):
            for wrong in check(call):
                print(f"{call.name} {call.args!r:.120}: {wrong:.200}")


if __name__ == "__main__":
    grow() if sys.argv[1] == "grow" else main(globals()[sys.argv[1]])
