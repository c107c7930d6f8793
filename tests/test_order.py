"""The order in which a function looks names up and uses what it finds and what it is given.

All names of a module and all arguments of a call are replaced by objects that record their uses.
The call is then repeated, once for each recorded event: at that event either all names are deleted,
so that the next look-up fails and shows its name, or an error is raised that every handler catches.
"""

from types import ModuleType, SimpleNamespace
from unittest.mock import patch

import pytest
from calls import CALLS, ROOT, Call
from canned_git import run_canned_git
from compare import NAMES, StoppedClock, load_copy, native, outcome, plain
from recorder import events, recorded


class CaughtByAllError(FileNotFoundError, ValueError):
    """An error that every handler of the module catches."""


class RecordedModule:
    """A copy of a module, and recording objects for all of its names."""

    def __init__(self, module: ModuleType) -> None:
        self.module = load_copy(module, "recorded.git_utils")
        values = vars(self.module) | {
            "subprocess": SimpleNamespace(run=run_canned_git, TimeoutExpired=TimeoutError),
            "datetime": StoppedClock,
            "get_subprocess_hidden_kwargs": lambda: {"env": 1},
        }
        self.names = {name: recorded(values[name], name) for name in NAMES}

    def delete_names(self) -> None:
        for name in NAMES:
            vars(self.module).pop(name, None)

    def raise_error(self) -> None:
        raise CaughtByAllError

    def trace(self, call: Call, interruption: str = "raise_error", at: int = -1) -> list[object]:
        """Make the call; return its outcome and all events, one of which is interrupted."""
        function = getattr(self.module, call.name)
        args = [recorded(arg, f"args[{index}]") for index, arg in enumerate(call.args)]
        keywords = {name: recorded(value, name) for name, value in call.keywords.items()}
        events.restart(at, getattr(self, interruption))
        with patch.dict(vars(self.module), self.names):
            return [outcome(function, *args, **keywords), *events]


NATIVE, PLAIN = RecordedModule(native), RecordedModule(plain)

# The first call of each function in the table, and those that take another way through it.
TRACED_CALLS = {call.name: call for call in reversed(CALLS)} | {
    "_git_output, git fails": Call("", "_git_output", (ROOT, ["bad"])),
    "_git_output, git is missing": Call("", "_git_output", (ROOT, ["missing"])),
    "branch_exists, no branch": Call("", "branch_exists", (ROOT, "bad")),
    "parse_time_spec, a date": Call("", "parse_time_spec", ("2026-01-02T03:04:05+02:00",)),
    "parse_time_spec, a word": Call("", "parse_time_spec", ("soon",)),
    "parse_commit_changes, no number": Call("", "parse_commit_changes", ("\x1ex\0",)),
}


@pytest.mark.parametrize("call", TRACED_CALLS.values(), ids=TRACED_CALLS)
def test_names_and_objects_are_used_in_the_order_of_the_statements(call: Call) -> None:
    assert NATIVE.trace(call) == PLAIN.trace(call)


@pytest.mark.parametrize("interruption", ["delete_names", "raise_error"])
@pytest.mark.parametrize("call", TRACED_CALLS.values(), ids=TRACED_CALLS)
def test_an_interrupted_call_ends_as_in_plain_python(call: Call, interruption: str) -> None:
    for at in range(len(PLAIN.trace(call)) - 1):
        expected = PLAIN.trace(call, interruption, at)
        assert NATIVE.trace(call, interruption, at) == expected, f"interrupted at event {at}"
