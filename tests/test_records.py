"""Record classes other than those that dataclass makes, from the import on or changed later."""

import dataclasses
from collections.abc import Callable
from dataclasses import dataclass, fields, make_dataclass
from types import FunctionType, SimpleNamespace
from typing import Any

import pytest
from changed_copies import assert_followed, unchanged_answers
from compare import RECORDS

type Decorator = Callable[[Any], object]

frozen = dataclass(frozen=True)


def with_reversed_constructor(record: Any) -> type:
    """The record class with a constructor that takes its fields from the last to the first."""
    made = frozen(record)
    store = made.__init__
    made.__init__ = lambda self, *values: store(self, *values[::-1])
    return made


# What a replacement for dataclass(frozen=True) at the import makes of a record class, and so binds
# to its name.
DECORATORS: dict[str, Decorator] = {
    "a class with a reversed constructor": with_reversed_constructor,
    "the undecorated class": lambda record: record,
}


@pytest.fixture
def replace_dataclass(monkeypatch: pytest.MonkeyPatch) -> Callable[[Decorator], None]:
    """Let dataclass(frozen=True) return another decorator to the copies made in the test."""
    assert unchanged_answers(), "made before the replacement"
    return lambda decorator: monkeypatch.setattr(dataclasses, "dataclass", lambda **_: decorator)


@pytest.mark.parametrize("decorator", DECORATORS.values(), ids=DECORATORS)
def test_a_record_is_made_by_what_dataclass_returned(
    replace_dataclass: Callable[[Decorator], None], decorator: Decorator
) -> None:
    replace_dataclass(decorator)
    assert_followed(lambda _: None)


def swapped_constructor(record: Any) -> FunctionType:
    """A constructor that takes the first two fields in the other order."""
    first, second, *rest = ((each.name, each.type, each) for each in fields(record))
    return make_dataclass("Other", [second[:2], first[:2], *rest], frozen=True).__init__


def set_constructor(record: Any) -> None:
    record.__init__ = swapped_constructor(record)


def delete_constructor(record: Any) -> None:
    del record.__init__


def set_code_of_constructor(record: Any) -> None:
    record.__init__.__code__ = swapped_constructor(record).__code__


def set_cells_of_constructor(record: Any) -> None:
    """Let the constructor, which stores through object.__setattr__, store lists instead."""

    def store_list(self: object, name: str, value: object) -> None:
        object.__setattr__(self, name, [value])

    for cell in record.__init__.__closure__:
        if cell.cell_contents is object:
            cell.cell_contents = SimpleNamespace(__setattr__=store_list)


def set_allocator(record: Any) -> None:
    record.__new__ = lambda *args: repr(args)


def set_property_on_first_field(record: Any) -> None:
    setattr(record, fields(record)[0].name, property(repr))


def set_property_on_last_field(record: Any) -> None:
    setattr(record, fields(record)[-1].name, property(lambda _: "a property"))


def set_finaliser(record: Any) -> list[str]:
    """Give the class a finaliser, and return a list to which it adds each instance."""
    finalised: list[str] = []
    record.__del__ = lambda self: finalised.append(repr(self))
    return finalised


CHANGES: list[Callable[[Any], object]] = [
    set_constructor,
    delete_constructor,
    set_code_of_constructor,
    set_cells_of_constructor,
    set_allocator,
    set_property_on_first_field,
    set_property_on_last_field,
    set_finaliser,
]


@pytest.mark.parametrize("record", RECORDS)
@pytest.mark.parametrize("change", CHANGES, ids=lambda change: change.__name__)
def test_a_record_class_may_be_changed_later_on(
    record: str, change: Callable[[Any], object]
) -> None:
    assert_followed(lambda module: change(getattr(module, record)))


@pytest.mark.parametrize("record", RECORDS)
def test_the_class_may_have_seen_its_fields_in_another_order(record: str) -> None:
    # CPython stores the fields of all later instances in the order of the first.
    def set_fields_in_reverse(module: Any) -> None:
        first = object.__new__(getattr(module, record))
        for field in reversed(fields(first)):
            object.__setattr__(first, field.name, None)

    assert_followed(set_fields_in_reverse, visible=False)
