"""Calls the native module and the plain-Python one alike, and compares their answers.

The tests, the fuzzer and child processes use this, so it imports no test tool.
"""

import importlib.util
from collections.abc import Callable
from datetime import datetime, tzinfo
from types import ModuleType
from typing import Any

import plain_python as plain

import orvel_tarnix.utils.git_utils as native

STUB = "orvel_tarnix/utils/git_utils.pyi"
REFERENCE = "reference/plain_python.py"


def own_names(module: ModuleType) -> list[str]:
    """Returns the names that the module's body binds, in its order."""
    return [name for name in vars(module) if not name.startswith("__")]


def assert_declares(module: ModuleType, file: str, names: list[str]) -> None:
    """Raises an AssertionError that says which of the names the module's file lacks."""
    if missing := set(names) - set(vars(module)):
        raise AssertionError(f"{file} lacks {', '.join(sorted(missing))}: add it there")


NAMES = own_names(plain)
assert_declares(plain, REFERENCE, own_names(native))
assert_declares(native, STUB, NAMES)
RECORDS = ["FileChange", "CommitChanges", "LineSpan"]
OWN = [name for name in NAMES if getattr(getattr(plain, name), "__module__", "") == plain.__name__]
FUNCTIONS = [name for name in OWN if name not in {*RECORDS, "GitError"}]

NOW = datetime(2026, 3, 8, 12, 30, 15, 123456)


class StoppedClock(datetime):
    """A datetime class with the same `now` for both modules."""

    @classmethod
    def now(cls, _zone: tzinfo | None = None) -> datetime:
        """Returns the same moment every time."""
        return NOW


class StrSubclass(str):
    """A subclass of str: its characters may not be read without calling its methods."""

    __slots__ = ()


def load_copy(module: ModuleType, name: str) -> ModuleType:
    """Loads the module's file once more, under another name."""
    spec = importlib.util.spec_from_file_location(name, module.__file__)
    copy = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(copy)
    return copy


def neutral(text: str) -> str:
    """Returns the text with the name of the native module for that of the plain one."""
    return text.replace(plain.__name__, native.__name__)


def described(error: BaseException | None) -> tuple[Any, ...] | None:
    """Returns an exception's type, text and name, and the same of its cause and its context."""
    if error is None:
        return None
    chain = described(error.__cause__), described(error.__context__), error.__suppress_context__
    return type(error).__name__, neutral(str(error)), getattr(error, "name", None), *chain


def outcome(function: Callable[..., object], *args: object, **keywords: object) -> object:
    """Returns what the call returns or raises, in a form that is equal for both modules."""
    try:
        result = function(*args, **keywords)
    except Exception as error:  # noqa: BLE001 - the other module must raise it too
        return described(error)
    return type(result).__name__, neutral(repr(result))


def assert_alike(name: str, *args: object, **keywords: object) -> None:
    """Raises an AssertionError if the functions of that name do not have the same outcome."""
    found, expected = (
        outcome(getattr(module, name), *args, **keywords) for module in (native, plain)
    )
    if found != expected:
        raise AssertionError(f"{name} {args} {keywords}\n native: {found}\n plain:  {expected}")
