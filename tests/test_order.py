"""In which order a function looks names up and uses what it finds and what it is given.

Every object within reach tells what is done to it. Each call is then made again and again, and at
one event after the other either all names vanish, so that the next look-up fails and tells its
name, or an error is raised.
"""

import functools
from collections.abc import Callable
from operator import contains, getitem, sub, truediv
from types import ModuleType, SimpleNamespace
from typing import Any
from unittest.mock import patch

import pytest
from compare import NAMES, StoppedClock, load_copy, native, outcome, plain
from worlds import CALLS, ROOT, Call, run

# How a text is shown or hashed is nobody's business, and making one is no use of it.
UNTOLD = {"__new__", "__init__", "__init_subclass__", "__subclasshook__", "__getattribute__"}
UNTOLD |= {"__class__", "__hash__", "__repr__", "__str__", "__index__", "__int__"}


TOLD = str, int, list, tuple, dict, frozenset


class OddError(FileNotFoundError, ValueError):
    """An error that every handler takes for its own."""


class Events(list[str]):
    """What was done, in order; at one event something happens first."""

    at = -1
    happen: Callable[[], object]

    def tell(self, what: str) -> None:
        self.append(what)
        if len(self) - 1 == self.at:
            self.happen()


events = Events()


@functools.cache
def telling(kind: type) -> type:
    """A subclass whose methods tell that they are called."""

    def teller(name: str) -> Callable[..., object]:
        method = getattr(kind, name)

        def told(self: object, *args: object, **keywords: object) -> object:
            events.tell(f"{kind.__name__}.{name}{args if name[0] != '_' else ''}")
            result = method(self, *args, **keywords)
            if kind is str and isinstance(result, list | tuple):  # of which each is as good
                return [watched(each, f"{name}()[]") for each in result]
            return watched(result, f"{kind.__name__}.{name}()")

        return told

    names = [name for name in dir(kind) if callable(getattr(kind, name)) and name not in UNTOLD]
    hashed = {"__hash__": kind.__hash__}
    return type(kind.__name__, (kind,), {name: teller(name) for name in names} | hashed)


class Teller:
    """Any other object; what is asked of it is told and then asked of the object itself."""

    def __init__(self, value: object, name: str) -> None:
        self.value, self.name = value, name

    def __repr__(self) -> str:
        return repr(self.value)

    def ask(self, what: str, answer: Callable[..., object], *args: object, **kw: object) -> Any:
        events.tell(f"{self.name}{what}")
        told = [arg.value if isinstance(arg, Teller) else arg for arg in args]
        told = [str.__str__(arg) if isinstance(arg, str) else arg for arg in told]
        return watched(answer(*told, **kw), f"{self.name}{what}")

    def __getattr__(self, name: str) -> object:
        return self.ask(f".{name}", getattr, self, name)

    def __call__(self, *args: object, **keywords: object) -> object:
        return self.ask(f"{args}{[*keywords]}", self.value, *args, **keywords)

    def __iter__(self) -> object:
        return self if hasattr(self.value, "__next__") else self.ask(".iter", iter, self)


for _use in (getitem, contains, truediv, sub, next, format, bool, str):

    def _special(self: Teller, *args: object, use: Callable[..., object] = _use) -> object:
        return self.ask(f".{use.__name__}{args}", use, self, *args)

    setattr(Teller, f"__{_use.__name__}__", _special)


def watched(value: object, name: str) -> object:
    """The same, but telling."""
    is_error = isinstance(value, type) and issubclass(value, BaseException) and name != "GitError"
    if is_error or isinstance(value, bool | float | bytes | BaseException | type(None)):
        return value
    if type(value) in {list, tuple}:
        value = type(value)(watched(each, f"{name}[]") for each in value)
    if type(value) in TOLD:
        return telling(type(value))(value)
    return value if isinstance(value, TOLD) or value is NotImplemented else Teller(value, name)


def observed(module: ModuleType) -> tuple[ModuleType, dict[str, object]]:
    """A copy of the module, and its names bound to objects that tell."""
    copy = load_copy(module, "observed.git_utils")
    world = {"subprocess": SimpleNamespace(run=run, TimeoutExpired=TimeoutError)}
    world |= {"datetime": StoppedClock, "get_subprocess_hidden_kwargs": lambda: {"env": 1}}
    return copy, {name: watched((vars(copy) | world)[name], name) for name in NAMES}


NATIVE, PLAIN = observed(native), observed(plain)


def course(of: tuple[ModuleType, dict[str, object]], call: Call, at: int, how: str) -> object:
    """What is done in the course of a call, and what comes of it."""
    copy, names = of
    function = getattr(copy, call.name)
    args = [watched(arg, f"args[{n}]") for n, arg in enumerate(call.args)]
    keywords = {name: watched(arg, name) for name, arg in call.kwargs.items()}

    def vanish() -> None:
        for name in NAMES:
            vars(copy).pop(name, None)

    def fail() -> None:
        raise OddError

    events.clear()
    events.at, events.happen = at, {"vanish": vanish, "fail": fail}[how]
    with patch.dict(vars(copy), names):
        return [outcome(function, *args, **keywords), *events]


SHOWN = {call.name: call for call in reversed(CALLS)}
SHOWN["an error of git"] = Call("_git_output", (ROOT, ["bad"]))
SHOWN["no git"] = Call("_git_output", (ROOT, ["missing"]))
SHOWN["no branch"] = Call("branch_exists", (ROOT, "bad"))
SHOWN["an ISO date"] = Call("parse_time_spec", ("2026-01-02T03:04:05+02:00",))
SHOWN["no stamp"] = Call("parse_commit_changes", ("\x1ex\0",))
SHOWN["no time"] = Call("parse_time_spec", ("soon",))


@pytest.mark.parametrize("shown", SHOWN)
def test_everything_is_used_in_the_order_of_the_statements(shown: str) -> None:
    whole = course(PLAIN, SHOWN[shown], -1, "fail")
    assert course(NATIVE, SHOWN[shown], -1, "fail") == whole
    for how in ("vanish", "fail"):
        for at in range(len(whole) - 1):
            found, expected = (course(of, SHOWN[shown], at, how) for of in (NATIVE, PLAIN))
            assert found == expected, f"{how} at {at}"
