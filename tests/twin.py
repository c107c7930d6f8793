"""What the native module and its plain twin answer to the same call."""

import importlib.util
import sys
from collections.abc import Callable
from datetime import datetime
from types import ModuleType
from typing import Any
from unittest.mock import patch

import plain_python as plain
import pytest

import orvel_tarnix.utils.git_utils as native

NOW = datetime(2026, 3, 8, 12, 30, 15, 123456)


class FrozenClock(datetime):
    """A clock that stands still."""

    @classmethod
    def now(cls) -> datetime:
        return NOW


def load_copy(module: ModuleType, name: str) -> ModuleType:
    """Load the module's file once more, under another name."""
    spec = importlib.util.spec_from_file_location(name, module.__file__)
    copy = importlib.util.module_from_spec(spec)
    with patch.dict(sys.modules, {name: copy}):
        spec.loader.exec_module(copy)
    return copy


def neutral(text: str) -> str:
    """Name the native module where the text names its twin."""
    return text.replace(plain.__name__, native.__name__)


def described(error: BaseException | None) -> tuple[Any, ...] | None:
    """Tell an exception's type, text, cause and context, each of them as deeply."""
    if error is None:
        return None
    tied = described(error.__cause__), described(error.__context__), error.__suppress_context__
    return type(error).__name__, neutral(str(error)), *tied


def outcome(function: Callable[..., object], *args: object, **keywords: object) -> object:
    """Call the function and describe its result or its exception."""
    try:
        result = function(*args, **keywords)
    except Exception as error:
        return described(error)
    return type(result).__name__, neutral(repr(result))


def rebind(patch: pytest.MonkeyPatch, name: str, value: object) -> None:
    """Bind the name in both modules."""
    for module in (native, plain):
        patch.setattr(module, name, value)


def assert_alike(name: str, *args: object, **keywords: object) -> None:
    """The functions of that name give equal results or fail with equal exceptions."""
    answer = outcome(getattr(native, name), *args, **keywords)
    assert answer == outcome(getattr(plain, name), *args, **keywords)
