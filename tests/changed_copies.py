"""Makes the same change to copies of both modules, and compares their answers to all calls."""

import builtins
import functools
from collections.abc import Callable
from types import ModuleType, SimpleNamespace

from calls import CALLS, Call
from canned_git import run_canned_git
from compare import StoppedClock, load_copy, native, outcome, plain

type Change = Callable[[ModuleType], object]


def answers_after(module: ModuleType, change: Change) -> list[object]:
    """Change a copy of the module, with git and the clock replaced, and make every call."""
    copy = load_copy(module, "copied.git_utils")
    copy.datetime = StoppedClock
    copy.subprocess = SimpleNamespace(run=run_canned_git, TimeoutExpired=TimeoutError)
    changed = change(copy)

    def answer(call: Call) -> object:
        function = vars(copy).get(call.name, getattr(builtins, call.name, None))
        return call.name, call.title, outcome(lambda: function(*call.args, **call.keywords))

    return [*map(answer, CALLS), repr(changed)]


@functools.cache
def unchanged_answers() -> list[object]:
    """Return the answers of an unchanged copy, which is made at the first call."""
    return answers_after(plain, lambda _: None)


def assert_same_answers_after(change: Change, *, changes_answers: bool = True) -> None:
    """Both modules answer alike after the change, and unlike before it if it changes answers."""
    expected = answers_after(plain, change)
    for answer, plain_answer in zip(answers_after(native, change), expected, strict=True):
        assert answer == plain_answer
    changed = expected != unchanged_answers()
    assert changed == changes_answers, (
        f"{'an' if changed else 'no'} answer to tests/calls.py changes"
    )
