"""Objects that answer in their own way, and code that gets hold of what a parser works with."""

import dataclasses
import gc
import re
from collections.abc import Callable, Iterator
from typing import Any

import pytest
from compare import assert_alike, load_copy, native, plain


class Thief(str):
    """A path that changes the map it is stored in while it is looked up in another."""

    deed: Callable[[dict[str, object]], object]

    def __eq__(self, other: object) -> bool:
        for each in gc.get_referrers(self):
            if type(each) is dict and any(key is self for key in each):
                self.deed(each)
        return str.__eq__(self, other)

    __hash__ = str.__hash__


DEEDS = {"empties": dict.clear, "grows": lambda held: held.update(c=("added", None))}
DEEDS |= {"breaks": lambda held: held.update(b=5), "shortens": lambda held: held.update(b=("x",))}


@pytest.mark.parametrize("deed", DEEDS)
def test_a_map_that_changes_while_it_is_read_is_an_error_of_python(deed: str) -> None:
    thief = Thief("a")
    thief.deed = DEEDS[deed]
    assert_alike("_file_changes", [":M", thief, ":M", "b", "1\t2\ta"])


class Cursor:
    """An iterator over other tokens than a loop over it gets."""

    def __iter__(self) -> Iterator[str]:
        return iter([":R", ":M"])

    def __next__(self) -> str:
        return "next"


class Tokens:
    """What such a cursor goes over."""

    def __iter__(self) -> Cursor:
        return Cursor()


class Header(str):
    """A header whose stamp is None."""

    lstrip = __getitem__ = lambda self, _: self
    strip = lambda _: None  # noqa: E731


class Output:
    """What splits into such headers."""

    def split(self, _separator: str) -> list[str]:
        return [Header("\x1e"), "lost", "\x1e5"]


def test_objects_of_other_kinds_get_what_the_statements_ask_of_them(
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    assert_alike("_file_changes", Tokens())
    assert_alike("parse_commit_changes", Output())
    signed = re.compile(r"@@ -\d+(?:,(-?\d+))? \+(\d+)(?:,(-?\d+))? @@")
    for module in (native, plain):
        monkeypatch.setattr(module, "_HUNK_HEADER", signed)
    huge = "9" * 20
    hunks = f"@@ -1,-{huge} +1 @@\n+x\n+++ b\n@@ -1 +2,-1 @@\n@@ -3 +4,{huge} @@\n+++ c"
    assert_alike("parse_line_spans", f"+++ a\n{hunks}")


def test_what_changes_nothing_gives_the_same_object() -> None:
    for name in ("feature/x", "é" * 9):
        assert native.normalize_branch_name(name) is native._patch_path(name) is name


def test_a_record_is_made_as_whatever_stood_for_dataclass_has_it(
    monkeypatch: pytest.MonkeyPatch,
) -> None:
    made: list[str] = []

    def watched(**options: Any) -> Callable[[type], type]:
        def decorate(record: type) -> type:
            dataclass(**options)(record)
            init = record.__init__
            told = lambda self, *args: made.append(record.__name__) or init(self, *args)  # noqa: E731
            monkeypatch.setattr(record, "__init__", told)
            return record

        return decorate

    dataclass = dataclasses.dataclass
    monkeypatch.setattr(dataclasses, "dataclass", watched)
    for module in (native, plain):
        copy = load_copy(module, "copied.git_utils")
        copy.parse_commit_changes("\x1e5\0\n:M\0a\0")
        copy.parse_line_spans("+++ a\n@@ -1 +1 @@")
    assert made == ["FileChange", "CommitChanges", "LineSpan"] * 2


def test_log_records_and_tracebacks_name_the_module() -> None:
    assert native._span.__code__.co_filename == "<frozen>/git_utils.pyi"
