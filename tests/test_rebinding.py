"""Whatever is bound to a module-level name is used from then on, as in a module of plain Python.

Each test changes fresh copies of both modules alike and compares what they answer from then on.
"""

import builtins
import functools
import re
import sys
from collections.abc import Callable
from dataclasses import fields, make_dataclass
from types import FunctionType, ModuleType, SimpleNamespace
from typing import Any
from unittest.mock import MagicMock, Mock

import pytest
from compare import (
    FUNCTIONS,
    NAMES,
    NOW,
    RECORDS,
    StoppedClock,
    Text,
    load_copy,
    native,
    outcome,
    plain,
)
from worlds import CALLS, LOG, PATCH, STREAM, Call, run

type Change = Callable[[ModuleType], object]

UNUSED = {"logging", "re", "Sequence", "dataclass", "Any"}  # they serve the import alone


def answers_after(module: ModuleType, change: Change) -> list[object]:
    """Change a copy of the module, for which time and git stand still, and ask it everything."""
    copy = load_copy(module, "copied.git_utils")
    copy.datetime = StoppedClock
    copy.subprocess = SimpleNamespace(run=run, TimeoutExpired=TimeoutError)
    told = change(copy)

    def answer(call: Call) -> object:
        function = vars(copy).get(call.name, getattr(builtins, call.name, None))
        return call.name, outcome(lambda: function(*call.args, **call.kwargs))

    return [*map(answer, CALLS), repr(told)]


unchanged = functools.cache(lambda: answers_after(plain, lambda _: None))


def assert_followed(change: Change, *, shows: bool = True) -> None:
    """Both modules follow the change, and that makes a difference."""
    expected = answers_after(plain, change)
    for mine, its in zip(answers_after(native, change), expected, strict=True):
        assert mine == its
    assert (expected != unchanged()) == shows


def test_each_function_is_called_and_answers_as_in_plain_python() -> None:
    missing = {*FUNCTIONS} - {call.name for call in CALLS}
    assert not missing, f"nothing tells how these are called: add rows to worlds.py for {missing}"
    assert_followed(lambda _: None, shows=False)


def replace(module: ModuleType, name: str) -> None:
    """Bind the name to a function that tells its arguments."""
    told = lambda *args, **keywords: (name, repr(args), repr(keywords))  # noqa: E731
    setattr(module, name, told)


def recode(module: ModuleType, name: str) -> None:
    """Give the function the code of one that tells its arguments."""
    function, cell = getattr(module, name), "of a native function"
    closed, free = lambda *args: cell and repr(args), lambda *args: repr(args)
    function.__code__ = (closed if function.__closure__ else free).__code__


def blank(module: ModuleType, name: str) -> None:
    """Bind the name to None."""
    setattr(module, name, None)


CHANGES: dict[Callable[[ModuleType, str], object], list[str]] = {
    delattr: NAMES,
    blank: NAMES,
    replace: [name for name in NAMES if callable(getattr(native, name))],
    recode: FUNCTIONS,
}
ROWS = [
    pytest.param(change, name, id=f"{change.__name__} {name}")
    for change, names in CHANGES.items()
    for name in names
]


@pytest.mark.parametrize(("change", "name"), ROWS)
def test_what_becomes_of_a_name_shows_wherever_it_is_used(
    change: Callable[[ModuleType, str], object], name: str
) -> None:
    assert_followed(lambda module: change(module, name), shows=name not in UNUSED)


def test_a_name_that_the_module_lacks_is_found_among_the_built_ins() -> None:
    def move(module: ModuleType) -> None:
        for name in NAMES:
            patch.setattr(builtins, name, vars(module).pop(name), raising=False)

    with pytest.MonkeyPatch.context() as patch:
        assert_followed(move, shows=False)


def swapped(record: Any) -> FunctionType:
    """A constructor that takes the first two fields in the other order."""
    first, second, *rest = ((each.name, each.type, each) for each in fields(record))
    return make_dataclass("Other", [second[:2], first[:2], *rest], frozen=True).__init__


def fill_cells(record: Any) -> None:
    """Let the constructor store in its own way."""
    setter = lambda self, name, value: object.__setattr__(self, name, [value])  # noqa: E731
    for cell in record.__init__.__closure__:
        if cell.cell_contents is object:
            cell.cell_contents = SimpleNamespace(__setattr__=setter)


def turn_round(record: Any) -> None:
    """Let the class see its fields in another order first."""
    first = object.__new__(record)
    for each in reversed(fields(record)):
        object.__setattr__(first, each.name, None)


def mourn(record: Any) -> list[str]:
    """Give the class a finaliser; the list is of those that it has finalised."""
    told: list[str] = []
    record.__del__ = lambda self: told.append(repr(self))
    return told


PATCHES: dict[str, Callable[[Any], object]] = {
    "constructor": lambda record: setattr(record, "__init__", swapped(record)),
    "no constructor": lambda record: delattr(record, "__init__"),
    "its code": lambda record: setattr(record.__init__, "__code__", swapped(record).__code__),
    "its cells": fill_cells,
    "allocator": lambda record: setattr(record, "__new__", lambda *args: repr(args)),
    "property": lambda record: setattr(record, fields(record)[0].name, property(repr)),
    "finaliser": mourn,
    "order of fields": turn_round,
}


@pytest.mark.parametrize("name", RECORDS)
@pytest.mark.parametrize("patch", PATCHES)
def test_a_patched_record_class_makes_patched_records(name: str, patch: str) -> None:
    def change(module: ModuleType) -> object:
        return PATCHES[patch](getattr(module, name))

    assert_followed(change, shows=patch != "order of fields")


class Quiet(dict):
    """A dictionary whose `get` has its own mind."""

    def get(self, key: str, _default: object = None) -> object:
        return f"<{key}>"


class Fickle(Text):
    """A key that is found at every second look."""

    looks = 0

    def __eq__(self, other: object) -> bool:
        self.looks += 1
        return self.looks % 2 == 0 and str.__eq__(self, other)

    __hash__ = str.__hash__


class Shifted(str):
    """What is encoded as another text than it shows."""

    def encode(self, _encoding: str) -> bytes:
        return b"shifted"


class Broken:
    """What cannot be iterated over in the end."""

    def __iter__(self) -> Any:
        yield "-x"
        raise TypeError("from inside")


class Hidden(dict):
    """A dictionary that ** does not ask, but reads."""

    def __getitem__(self, key: str) -> object:
        return "other"


class LostError(FileNotFoundError):
    """An error that is a file's, not git's, as far as anybody can tell."""


class NoError(KeyError):
    """An error of which there are no instances."""

    __new__ = lambda *_: 5  # noqa: E731


def launching(expired: object) -> SimpleNamespace:
    return SimpleNamespace(run=run, TimeoutExpired=expired)


def clock(error: type[Exception]) -> Mock:
    return Mock(**{"now.side_effect": error, "fromisoformat.side_effect": error})


def giving(value: object) -> Mock:
    return Mock(return_value=value)


def mapping(error: Exception) -> Mock:
    """The host's keywords in a mapping that fails."""
    return giving(MagicMock(**{"keys.return_value": ["said"], "__getitem__.side_effect": error}))


ERRORS = [KeyError, ValueError, OverflowError, TimeoutError, ConnectionError, LostError]
MAPPING_ERRORS = [OSError(), AttributeError(), KeyError(), KeyError(1), KeyError(1, 2)]
TABLES = [{"t": "中", "\\": ""}, {"t": b"t"}, {"t": "\ud800"}, {"t": Shifted("t")}]
EXPIRED = [(OSError, ValueError), 5, (FileNotFoundError, 5), (5, FileNotFoundError)]
HIDDEN = [Hidden(said=1), {"cwd": "/"}, None, [("cwd", "/")], {1: 2}, {"said": 2}]
RESULTS = [("out \n", None, 0), ("out", None, 0.0), (None, None, 1), {"a": 1, "b": 2, "c": 0}]
RESULTS += [("", " fatal: bad\n\x1c", 128), ["", " \n\xa0", True], ("", "", "0"), ("", "", 0)]
RESULTS += [(), ("a", "", 0, 0), "abc", 5, None]
SAME = re.compile(native._HUNK_HEADER.pattern, re.DOTALL)
OTHERS: dict[str, dict[str, object]] = {
    "_HUNK_HEADER": {
        "longer": re.compile(r"@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@ f"),
        "as good": SAME,
        "empty counts": re.compile(r"@@ -\d+(?:,(\d*))? \+(\d+)(?:,(\d+))? @@"),
    },
    "_C_ESCAPE": {"other": re.compile("%([0-7]{3}|.)"), "two": re.compile(r"\\(..)")},
    "_RELATIVE_SPEC": {"words": re.compile("(so)(on)"), "ASCII": re.compile("([0-9])([a-z])")},
    "_SPEC_UNITS": {"other": {"d": "hours"}, "number": {"d": 5}, "unknown": {"d": "years"}},
    "_STATUS_BY_LETTER": {
        "of anything": {"M": 5, "X": None, "A": ["a"]},
        "subclass": Quiet(),
        "odd keys": lambda: {Fickle(each): each for each in "MAR"},
    },
    "_C_ESCAPES": {"subclass": Quiet()} | {repr(each["t"]): each for each in TABLES},
    "_TWO_PATH_LETTERS": {"set": {"M"}, "text": "MR"},
    "_COMMIT_START": {"letter": "C", "two": ("C", "\x1e")},
    "_PATCH_OPTIONS": {"list": ["log"], "dict": {"bad": 1}, "broken": Broken()},
    "_MAX_PATHSPEC_CHARS": {"huge": 10**30, "float": 18002.5, "text": "none"},
    "TIME_SPEC_FORMS": {"number": 5},
    "GitError": {each.__name__: giving(each) for each in (KeyError, NoError)},
    "subprocess": {f"error {each}": launching(each) for each in EXPIRED},
    "datetime": {each.__name__: clock(each) for each in ERRORS} | {"function": NOW.isoformat},
    "get_subprocess_hidden_kwargs": {repr(each): giving(each) for each in HIDDEN}
    | {each.__name__: Mock(side_effect=each) for each in ERRORS}
    | {f"{each!r} within": mapping(each) for each in MAPPING_ERRORS},
    "run_git_command": {repr(each): giving(each) for each in RESULTS},
}
ROWS = [
    pytest.param(name, value, id=f"{name} {what}")
    for name, others in OTHERS.items()
    for what, value in others.items()
]


@pytest.mark.parametrize(("name", "value"), ROWS)
def test_another_object_is_used_as_the_statements_would(name: str, value: object) -> None:
    def change(module: ModuleType) -> None:
        setattr(module, name, value() if isinstance(value, FunctionType) else value)

    assert_followed(change, shows=value is not SAME)


PRINTED = {"parse_file_changes": STREAM, "parse_commit_changes": LOG, "parse_line_spans": PATCH}


@pytest.mark.parametrize("name", PRINTED)
def test_what_git_prints_is_read_without_calling_python_code(name: str) -> None:
    for wider in ("", "中", "😀"):
        text, called = PRINTED[name].replace("a", "a" + wider), []
        sys.setprofile(lambda frame, event, _: called.append((event, frame.f_code.co_name)))  # noqa: B023
        try:
            getattr(native, name)(text)
        finally:
            sys.setprofile(None)
        assert [code for event, code in called if event == "call"] == [name]
