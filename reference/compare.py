"""What the native module and the plain-Python one answer to the same question, side by side.

The tests and the fuzzer ask through this. It imports no test tool: child processes use it too.
"""

import importlib.util
from collections.abc import Callable
from datetime import datetime, tzinfo
from types import ModuleType
from typing import Any

import plain_python as plain

import orvel_tarnix.utils.git_utils as native

NAMES = [name for name in vars(plain) if not name.startswith("__")]
RECORDS = ["FileChange", "CommitChanges", "LineSpan"]
OWN = [name for name in NAMES if getattr(getattr(plain, name), "__module__", "") == plain.__name__]
FUNCTIONS = [name for name in OWN if name not in {*RECORDS, "GitError"}]

NOW = datetime(2026, 3, 8, 12, 30, 15, 123456)


class StoppedClock(datetime):
    """A datetime class whose `now` both modules see alike."""

    @classmethod
    def now(cls, _zone: tzinfo | None = None) -> datetime:
        """The same moment every time."""
        return NOW


class Text(str):
    """A str that is none exactly: native code may not read it, but has to ask it."""

    __slots__ = ()


def load_copy(module: ModuleType, name: str) -> ModuleType:
    """Load the module's file once more, under another name."""
    spec = importlib.util.spec_from_file_location(name, module.__file__)
    copy = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(copy)
    return copy


def neutral(text: str) -> str:
    """The text, naming the native module where it names the plain one."""
    return text.replace(plain.__name__, native.__name__)


def described(error: BaseException | None) -> tuple[Any, ...] | None:
    """An exception's type, text and name, and its cause and context, each of them as deeply."""
    if error is None:
        return None
    tied = described(error.__cause__), described(error.__context__), error.__suppress_context__
    return type(error).__name__, neutral(str(error)), getattr(error, "name", None), *tied


def outcome(function: Callable[..., object], *args: object, **keywords: object) -> object:
    """What the function gives or raises; equal for both modules, though their classes differ."""
    try:
        result = function(*args, **keywords)
    except Exception as error:  # noqa: BLE001 - whichever it is, the other must raise it too
        return described(error)
    return type(result).__name__, neutral(repr(result))


def assert_alike(name: str, *args: object, **keywords: object) -> None:
    """The functions of that name have the same outcome."""
    found, expected = (
        outcome(getattr(module, name), *args, **keywords) for module in (native, plain)
    )
    if found != expected:
        raise AssertionError(f"{name} {args} {keywords}\n native: {found}\n plain:  {expected}")
