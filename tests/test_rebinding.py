"""Whatever is bound to a module-level name is used from then on, as in a module of plain Python.

Each test changes fresh copies of both modules alike and compares what they answer from then on.
"""

import builtins
import dataclasses
import functools
import re
import sys
from collections.abc import Callable
from dataclasses import dataclass, fields, make_dataclass
from itertools import count
from types import FunctionType, ModuleType, SimpleNamespace
from typing import Any
from unittest.mock import MagicMock, Mock

import pytest
from compare import FUNCTIONS, NAMES, NOW, RECORDS, StoppedClock, load_copy, native, outcome, plain
from worlds import CALLS, LOG, PATCH, STREAM, Call, odd, run

type Change = Callable[[ModuleType, str], object]

# What shows nowhere: some names serve the import alone, and some changes are as good as none.
UNSEEN = re.compile(r".* (logging|re|Sequence|dataclass|Any)|as good .*|order of fields .*")


def answers_after(module: ModuleType, change: Callable[[ModuleType], object]) -> list[object]:
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


def assert_followed(change: Callable[[ModuleType], object], *, shows: bool = True) -> None:
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
    setattr(module, name, lambda *args, **words: (name, repr(args), repr(words)))


def recode(module: ModuleType, name: str) -> None:
    """Give the function the code of one that tells its arguments."""
    function, cell = getattr(module, name), "of a native function"
    closed, free = lambda *args: cell and repr(args), lambda *args: repr(args)
    function.__code__ = (closed if function.__closure__ else free).__code__


def fickle(text: str) -> str:
    """A key that is found at every second look."""
    looks = count()
    equals = lambda self, other: next(looks) % 2 == 1 and str.__eq__(self, other)  # noqa: E731
    return odd(str, text, __eq__=equals, __hash__=str.__hash__)


QUIET = odd(dict, get=lambda _, key, *_default: f"<{key}>")
SHIFTED = odd(str, "t", encode=lambda *_: b"shifted")  # it shows another text than it encodes
HIDDEN_VALUES = odd(dict, {"said": 1}, __getitem__=lambda *_: "other")  # ** does not ask for them
BROKEN = odd(object, __iter__=Mock(side_effect=TypeError("from inside")))
LOST_ERROR = type("LostError", (FileNotFoundError,), {})  # of a file, not of git
NO_ERROR = type("NoError", (KeyError,), {"__new__": lambda *_: 5})  # without instances
ERRORS = [KeyError, ValueError, OverflowError, TimeoutError, ConnectionError, LOST_ERROR]
MAPPING_ERRORS = [OSError(), AttributeError(), KeyError(), KeyError(1), KeyError(1, 2)]
ESCAPES = [{"t": "中", "\\": ""}, {"t": b"t"}, {"t": "\ud800"}, {"t": SHIFTED}]
EXPIRED = [(OSError, ValueError), 5, (FileNotFoundError, 5), (5, FileNotFoundError)]
HIDDEN = [HIDDEN_VALUES, {"cwd": "/"}, None, [("cwd", "/")], {1: 2}, {"said": 2}]
RESULTS = [("out \n", None, 0), ("out", None, 0.0), (None, None, 1), {"a": 1, "b": 2, "c": 0}]
RESULTS += [("", " fatal: bad\n\x1c", 128), ["", " \n\xa0", True], ("", "", "0"), ("", "", 0)]
RESULTS += [(), ("a", "", 0, 0), "abc", 5, None]
OTHERS: dict[str, dict[str, object]] = {
    "_HUNK_HEADER": {
        "longer": re.compile(r"@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@ f"),
        "as good": re.compile(native._HUNK_HEADER.pattern, re.DOTALL),
        "empty counts": re.compile(r"@@ -\d+(?:,(\d*))? \+(\d+)(?:,(\d+))? @@"),
        "signed counts": re.compile(r"@@ -\d+(?:,(-?\d+))? \+(\d+)(?:,(-?\d+))? @@"),
    },
    "_C_ESCAPE": {"other": re.compile("%([0-7]{3}|.)"), "two": re.compile(r"\\(..)")},
    "_RELATIVE_SPEC": {"words": re.compile("(so)(on)"), "ASCII": re.compile("([0-9])([a-z])")},
    "_SPEC_UNITS": {"other": {"d": "hours"}, "number": {"d": 5}, "unknown": {"d": "years"}},
    "_STATUS_BY_LETTER": {"subclass": QUIET, "of anything": {"M": 5, "X": None, "A": ["a"]}},
    "_C_ESCAPES": {"subclass": QUIET} | {repr(each["t"]): each for each in ESCAPES},
    "_TWO_PATH_LETTERS": {"set": {"M"}, "text": "MR"},
    "_COMMIT_START": {"letter": "C", "two": ("C", "\x1e")},
    "_PATCH_OPTIONS": {"list": ["log"], "dict": {"bad": 1}, "broken": BROKEN},
    "_MAX_PATHSPEC_CHARS": {"huge": 10**30, "float": 18002.5, "text": "none"},
    "TIME_SPEC_FORMS": {"number": 5},
    "GitError": {each.__name__: Mock(return_value=each) for each in (KeyError, NO_ERROR)},
    "subprocess": {repr(each): SimpleNamespace(run=run, TimeoutExpired=each) for each in EXPIRED},
    "datetime": {
        each.__name__: Mock(**{"now.side_effect": each, "fromisoformat.side_effect": each})
        for each in ERRORS
    }
    | {"function": NOW.isoformat},
    "get_subprocess_hidden_kwargs": {repr(each): Mock(return_value=each) for each in HIDDEN}
    | {each.__name__: Mock(side_effect=each) for each in ERRORS}
    | {
        f"{each!r} within": Mock(return_value=MagicMock(**{"keys.side_effect": each}))
        for each in MAPPING_ERRORS
    },
    "run_git_command": {repr(each): Mock(return_value=each) for each in RESULTS},
}


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


def bound(value: object) -> Change:
    return lambda module, name: setattr(module, name, value)


def patched(patch: Callable[[Any], object]) -> Change:
    return lambda module, name: patch(getattr(module, name))


TABLES = ["_STATUS_BY_LETTER", "_C_ESCAPES"]
# What is done, how, and to which names.
CHANGES: list[tuple[str, Change, list[str]]] = [
    ("delete", delattr, NAMES),
    ("blank", bound(None), NAMES),
    ("replace", replace, [name for name in NAMES if callable(getattr(native, name))]),
    ("recode", recode, FUNCTIONS),
    ("odd keys", lambda *at: setattr(*at, {fickle(x): x * 2 for x in "MARn"}), TABLES),
    *((what, patched(patch), RECORDS) for what, patch in PATCHES.items()),
    *((what, bound(value), [name]) for name in OTHERS for what, value in OTHERS[name].items()),
]
ROWS = [
    pytest.param(f"{what} {name}", change, name, id=f"{what} {name}")
    for what, change, names in CHANGES
    for name in names
]


@pytest.mark.parametrize(("what", "change", "name"), ROWS)
def test_what_becomes_of_a_name_shows_wherever_it_is_used(
    what: str, change: Change, name: str
) -> None:
    assert_followed(lambda module: change(module, name), shows=not UNSEEN.fullmatch(what))


def test_a_name_that_the_module_lacks_is_found_among_the_built_ins() -> None:
    def move(module: ModuleType) -> None:
        for name in NAMES:
            patch.setattr(builtins, name, vars(module).pop(name), raising=False)

    with pytest.MonkeyPatch.context() as patch:
        assert_followed(move, shows=False)


def test_a_record_is_made_as_whatever_stood_for_dataclass_has_it(
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    def decorate(record: Any) -> type:
        init = dataclass(frozen=True)(record).__init__
        record.__init__ = lambda self, *values: init(self, *values[::-1])
        return record

    assert unchanged()
    monkeypatch.setattr(dataclasses, "dataclass", lambda **_: decorate)
    assert_followed(lambda module: setattr(module, "LineSpan", None))


PRINTED = {"parse_file_changes": STREAM, "parse_commit_changes": LOG, "parse_line_spans": PATCH}


@pytest.mark.parametrize("wider", ["", "中", "😀"], ids=["one", "two", "four"])
@pytest.mark.parametrize("name", PRINTED)
def test_what_git_prints_is_read_without_calling_python_code(name: str, wider: str) -> None:
    text, called = PRINTED[name].replace("a", "a" + wider), []
    sys.setprofile(lambda frame, event, _: called.append((event, frame.f_code.co_name)))
    try:
        getattr(native, name)(text)
    finally:
        sys.setprofile(None)
    assert [code for event, code in called if event == "call"] == [name]
