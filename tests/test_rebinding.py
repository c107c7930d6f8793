"""Whatever is bound to a module-level name is used from then on, as in a module of plain Python.

Each test makes the same change to a copy of the native module and of the plain-Python one.
"""

import builtins
import re
import sys
from collections.abc import Mapping
from types import MappingProxyType, ModuleType, SimpleNamespace
from typing import Any
from unittest.mock import MagicMock, Mock

import odd_objects
import pytest
from calls import CALLS
from canned_git import FILE_CHANGES, LOG, PATCH, run_canned_git
from changed_copies import assert_same_answers_after
from compare import FUNCTIONS, NAMES, NOW, native
from python_process import run_python


def test_each_function_has_a_call() -> None:
    missing = {*FUNCTIONS} - {call.name for call in CALLS}
    assert not missing, f"tests/calls.py has no call of {', '.join(missing)}: add a row there"


def test_an_unchanged_copy_answers_as_plain_python() -> None:
    assert_same_answers_after(lambda _: None, changes_answers=False)


# Names that are only used during the import.
IMPORT_ONLY = {"logging", "re", "Sequence", "dataclass", "Any"}


@pytest.mark.parametrize("name", NAMES)
def test_a_deleted_name_raises_name_error(name: str) -> None:
    assert_same_answers_after(
        lambda module: delattr(module, name), changes_answers=name not in IMPORT_ONLY
    )


@pytest.mark.parametrize("name", NAMES)
def test_a_name_bound_to_none_behaves_as_in_plain_python(name: str) -> None:
    assert_same_answers_after(
        lambda module: setattr(module, name, None), changes_answers=name not in IMPORT_ONLY
    )


CALLABLES = [name for name in NAMES if callable(getattr(native, name))]


@pytest.mark.parametrize("name", CALLABLES)
def test_a_name_may_be_bound_to_another_function(name: str) -> None:
    def show_arguments(*args: object, **keywords: object) -> object:
        return name, repr(args), repr(keywords)

    assert_same_answers_after(
        lambda module: setattr(module, name, show_arguments),
        changes_answers=name not in IMPORT_ONLY,
    )


@pytest.mark.parametrize("name", FUNCTIONS)
def test_a_function_may_be_given_other_code(name: str) -> None:
    def replace_code(module: ModuleType) -> None:
        function = getattr(module, name)
        cell = "the code of a native function has one free variable"

        def show_arguments(*args: object) -> str:
            return repr(args)

        def show_arguments_with_cell(*args: object) -> str:
            return cell and repr(args)

        replacement = show_arguments_with_cell if function.__closure__ else show_arguments
        function.__code__ = replacement.__code__

    assert_same_answers_after(replace_code)


def returning(value: object) -> Mock:
    return Mock(return_value=value)


def raising(error: object) -> Mock:
    return Mock(side_effect=error)


def mapping_whose_keys_raise(error: Exception) -> Mock:
    return returning(MagicMock(**{"keys.side_effect": error}))


def clock_that_raises(error: type[Exception]) -> Mock:
    """A replacement for the class datetime."""
    return Mock(**{"now.side_effect": error, "fromisoformat.side_effect": error})


def catching(timeout_expired: object) -> SimpleNamespace:
    """The module subprocess with something else for the exception of a timeout."""
    return SimpleNamespace(run=run_canned_git, TimeoutExpired=timeout_expired)


ERRORS = {
    "KeyError": KeyError,
    "ValueError": ValueError,
    "OverflowError": OverflowError,
    "a base class of OverflowError": ArithmeticError,
    "TimeoutError": TimeoutError,
    "ConnectionError": ConnectionError,
    "FileNotFoundError's subclass": odd_objects.LostFileError,
}
# For each name: values that it is bound to, each with a title.
OTHER_VALUES: dict[str, dict[str, object]] = {
    "_HUNK_HEADER": {
        "counts may be empty": re.compile(r"@@ -\d+(?:,(\d*))? \+(\d+)(?:,(\d+))? @@"),
        "counts may be negative": re.compile(r"@@ -\d+(?:,(-?\d+))? \+(\d+)(?:,(-?\d+))? @@"),
    },
    "_C_ESCAPE": {
        "another escape character": re.compile("%([0-7]{3}|.)"),
        "two characters": re.compile(r"\\(..)"),
    },
    "_RELATIVE_SPEC": {
        "a word of two groups": re.compile("(so)(on)"),
    },
    "_SPEC_UNITS": {
        "days are hours": {"d": "hours"},
        "a number for a unit": {"d": 5},
    },
    "_STATUS_BY_LETTER": {
        "a subclass of dict": odd_objects.AnyKeyTable(),
        "statuses of any type": {"M": 5, "X": None, "A": ["a"]},
    },
    "_C_ESCAPES": {
        "a subclass of dict": odd_objects.AnyKeyTable(),
        "wide and empty meanings": {"t": "中", "\\": ""},
        "a lone surrogate": {"t": "\ud800"},
        "a subclass of str": {"t": odd_objects.StrWithOverriddenEncode("t")},
    },
    "_TWO_PATH_LETTERS": {"a set": {"M"}, "a str": "MR"},
    "_COMMIT_START": {"a letter": "C", "a tuple": ("C", "\x1e")},
    "_PATCH_OPTIONS": {
        "a list": ["log"],
        "a dict": {"bad": 1},
        "a broken iterable": odd_objects.BrokenIterable(),
        "a broken sequence": odd_objects.BrokenSequence(),
    },
    "_MAX_PATHSPEC_CHARS": {"huge": 10**30, "a float": 18002.5, "a str": "none"},
    "TIME_SPEC_FORMS": {"a number": 5},
    "find_git_root": {"a function that returns an empty path": returning("")},
    "GitError": {
        "a function that returns a class": returning(KeyError),
        "a function that returns a class of no exceptions": returning(odd_objects.UnmakeableError),
    },
    "subprocess": {
        "a tuple of exceptions": catching((OSError, ValueError)),
        "no exception": catching(5),
        "no exception at the end of a tuple": catching((FileNotFoundError, 5)),
        "no exception at the front of a tuple": catching((5, FileNotFoundError)),
    },
    "datetime": {
        "a function": NOW.isoformat,
        **{f"raises {title}": clock_that_raises(error) for title, error in ERRORS.items()},
    },
    "get_subprocess_hidden_kwargs": {
        "a keyword": returning({"stderr": 2}),
        "a fixed keyword": returning({"cwd": "/"}),
        "a key that is not a str": returning({1: 2}),
        "None": returning(None),
        "a list of items": returning([("cwd", "/")]),
        "a dict with another []": returning(odd_objects.DictWithOverriddenGetitem(stderr=1)),
        "a dict with other items": returning(odd_objects.ComputedKeywords(stderr=" computed")),
        "a dict that computes a fixed keyword": returning(odd_objects.ComputedKeywords(cwd="/")),
        **{f"raises {title}": raising(error) for title, error in ERRORS.items()},
        "a mapping that raises OSError": mapping_whose_keys_raise(OSError()),
        "a mapping that raises AttributeError": mapping_whose_keys_raise(AttributeError()),
        "a mapping that raises an empty KeyError": mapping_whose_keys_raise(KeyError()),
        "a mapping that raises a KeyError": mapping_whose_keys_raise(KeyError(1)),
        "a mapping that raises a KeyError of two": mapping_whose_keys_raise(KeyError(1, 2)),
    },
    "run_git_command": {
        "success without stderr": returning(("out \n", None, 0)),
        "failure without text": returning((None, None, 1)),
        "failure with blanks": returning(("", " fatal: bad\n\x1c", 128)),
        "a str for a code": returning(("", "", "0")),
        "success with empty text": returning(("", "", 0)),
        "an object with [] only": returning(odd_objects.GetitemOnlyResult()),
        "an empty tuple": returning(()),
        "a tuple of four": returning(("a", "", 0, 0)),
        "a number": returning(5),
    },
}
ROWS = [
    pytest.param(name, value, id=f"{name}: {title}")
    for name, values in OTHER_VALUES.items()
    for title, value in values.items()
]


@pytest.mark.parametrize(("name", "value"), ROWS)
def test_a_name_may_be_bound_to_another_value(name: str, value: object) -> None:
    assert_same_answers_after(lambda module: setattr(module, name, value))


@pytest.mark.parametrize("name", ["_STATUS_BY_LETTER", "_C_ESCAPES"])
def test_a_table_may_have_keys_that_compare_in_their_own_way(name: str) -> None:
    def use_inconsistent_keys(module: ModuleType) -> None:
        keys = map(odd_objects.InconsistentKey, "MARn")
        setattr(module, name, {key: key * 2 for key in keys})

    assert_same_answers_after(use_inconsistent_keys)


def test_a_name_that_the_module_lacks_is_found_among_the_built_ins() -> None:
    def move_names(module: ModuleType) -> None:
        for name in NAMES:
            patch.setattr(builtins, name, vars(module).pop(name), raising=False)

    with pytest.MonkeyPatch.context() as patch:
        assert_same_answers_after(move_names, changes_answers=False)


PRINTED: Mapping[str, str] = MappingProxyType(
    {"parse_file_changes": FILE_CHANGES, "parse_commit_changes": LOG, "parse_line_spans": PATCH}
)


AUDITED_PARSE = """
import sys
from canned_git import FILE_CHANGES, LOG, PATCH
from orvel_tarnix.utils import git_utils
read = []
sys.addaudithook(lambda event, arguments: event == "object.__getattr__" and read.append(arguments))
git_utils.parse_file_changes(FILE_CHANGES)
git_utils.parse_commit_changes(LOG)
git_utils.parse_line_spans(PATCH)
print(read)
"""


def test_the_fast_path_reads_no_audited_attribute() -> None:
    assert run_python("-c", AUDITED_PARSE) == "[]\n"


@pytest.mark.parametrize("wide", ["", "中", "😀"], ids=["one byte", "two bytes", "four bytes"])
@pytest.mark.parametrize("name", PRINTED)
def test_the_fast_path_reads_what_git_prints(name: str, wide: str) -> None:
    text = PRINTED[name].replace("a", "a" + wide)
    called: list[str] = []

    def record_call(frame: Any, event: str, _argument: object) -> None:
        if event == "call":
            called.append(frame.f_code.co_name)

    sys.setprofile(record_call)
    try:
        getattr(native, name)(text)
    finally:
        sys.setprofile(None)
    assert called == [name], "only the fallback calls other functions of the module"
