"""Prints which calls keep memory, and which go wrong when one of their allocations fails.

Usage: memory_checks.py leaks|failures|huge_name
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

from calls import CALLS_WITH_REBOUND_NAMES, Call, outcome_of
from compare import described, native as git_utils, outcome

# CPython 3.13 itself loses the exception that leaves a function when it cannot make the object of
# the function's frame, and its os.stat reports a path of the wrong type when memory runs out.
ERRORS_OF_THE_INTERPRETER = (
    "SystemError: <function ",
    "SystemError: error return without exception set",
    "TypeError: stat: path should be ",
)
LEAK_ROUNDS = 50
CALLS_PER_ROUND = 40


def call_without_allocation(function: Callable[[], object], nth: int) -> tuple[object, bool]:
    """Let the n-th allocation of the call fail; return its outcome, and whether it got that far.

    Only the interpreter's allocators fail. C++ has its own, which `huge_name` exhausts.
    """
    failed = True
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
        failed = False
    finally:
        _testcapi.remove_mem_hooks()
    return result, failed


def native_body(call: Call) -> partial[object]:
    """The call of the C++ function alone: the Python function around it is the interpreter's."""
    function = getattr(git_utils, call.name)
    bound = inspect.signature(function).bind(*call.args, **call.keywords)
    bound.apply_defaults()
    return partial(function.__closure__[0].cell_contents, *bound.arguments.values())


def failures(call: Call) -> Iterator[str]:
    """Each outcome that is neither the expected one nor a MemoryError, and references kept."""
    expected = outcome_of(git_utils, call)
    body = native_body(call)
    parts = [part for arg in call.args if isinstance(arg, list | tuple | dict) for part in arg]
    shared = [body.func, body.func.__self__, *vars(git_utils).values(), *call.args, *parts]
    for nth in count():
        gc.collect()
        references = [sys.getrefcount(each) for each in shared]
        result, failed = call_without_allocation(body, nth)
        if not isinstance(result, MemoryError):
            returned = type(result).__name__, repr(result)
            found = described(result) if isinstance(result, Exception) else returned
            if found != expected and not ": ".join(found[:2]).startswith(ERRORS_OF_THE_INTERPRETER):
                yield f"{nth}: {found}"
        del result
        gc.collect()
        if references != [sys.getrefcount(each) for each in shared]:
            yield f"{nth}: references are kept"
        if not failed:
            break


def leaks(call: Call) -> Iterator[str]:
    """Reports the call if in each of many rounds every second call keeps something.

    The interpreter's own caches grow for some hundred calls; a leak grows in every round.
    """
    before = -100
    for _ in range(LEAK_ROUNDS):
        gc.collect()
        after = sys.getallocatedblocks()
        if after - before < CALLS_PER_ROUND // 2:
            return
        before = after
        for _ in range(CALLS_PER_ROUND):
            outcome_of(git_utils, call)
    yield "leaks"


def huge_name() -> None:
    """Reads a patch with a quoted name that is longer than the memory left for its bytes."""
    patch = f'+++ "{"a" * (64 << 20)}"\n'
    size = int(Path("/proc/self/statm").read_text(encoding="ascii").split()[0])
    resource.setrlimit(resource.RLIMIT_AS, (size * resource.getpagesize() + (32 << 20),) * 2)
    print(outcome(git_utils.parse_line_spans, patch)[0])


def main(check: Callable[[Call], Iterator[str]]) -> None:
    """Prints what is wrong; on standard error each call before it is made, in case of a crash."""
    logging.disable()
    gc.freeze()
    calls = list(CALLS_WITH_REBOUND_NAMES)
    if check is leaks:
        kept: list[object] = []
        calls.append(Call("a leak", "keep", rebound={"keep": lambda: kept.append(object())}))
    for call in calls:
        print(f"{call!r:.120}", file=sys.stderr)
        with patch.dict(vars(git_utils), call.rebound):
            for problem in check(call):
                print(f"{call.name}, {call.title}: {problem:.200}")


if __name__ == "__main__":
    if sys.argv[1] == "huge_name":
        huge_name()
    else:
        main({"leaks": leaks, "failures": failures}[sys.argv[1]])
