"""What the module uses during its import may be replaced, and names may be deleted."""

import dataclasses
import re
import sys
from collections.abc import Callable

import pytest
from changed_copies import assert_same_answers_after, unchanged_answers
from compare import NAMES, RECORDS

type Compile = Callable[..., object]

compile_pattern = re.compile
frozen = dataclasses.dataclass(frozen=True)


def compile_other_text(pattern: str, flags: int = 0) -> object:
    """Compile hunk headers with one "@", and "%" as the escape character."""
    return compile_pattern(pattern.replace("@@", "@").replace(r"\\(", "%("), flags)


def compile_without_blanks(pattern: str, flags: int = 0) -> object:
    return compile_pattern(pattern, flags | re.VERBOSE)


def return_class(_pattern: str, _flags: int = 0) -> object:
    return object


@pytest.fixture(autouse=True)
def _unchanged() -> None:
    unchanged_answers()  # cached now: a later copy would be made with the replacement


@pytest.mark.parametrize(
    "compile_other", [compile_other_text, compile_without_blanks, return_class]
)
def test_a_replaced_re_compile_makes_the_patterns(
    monkeypatch: pytest.MonkeyPatch, compile_other: Compile
) -> None:
    monkeypatch.setattr(re, "compile", compile_other)
    assert_same_answers_after(lambda _: None)


BOUND_BEFORE_RECORDS = [
    name for name in NAMES[: NAMES.index(RECORDS[0])] if re.fullmatch("[A-Z_]+", name)
]


@pytest.mark.parametrize("name", BOUND_BEFORE_RECORDS)
def test_a_name_that_dataclass_deletes_is_missed_on_use(
    monkeypatch: pytest.MonkeyPatch, name: str
) -> None:
    def decorate_and_delete(record: type) -> type:
        sys._getframe(1).f_globals.pop(name, None)
        return frozen(record)

    monkeypatch.setattr(dataclasses, "dataclass", lambda **_: decorate_and_delete)
    assert_same_answers_after(lambda _: None)
