"""Record classes other than those that dataclass makes, from the import on or changed later."""

import dataclasses
from collections.abc import Callable
from dataclasses import dataclass, fields, make_dataclass
from functools import partial
from types import FunctionType, SimpleNamespace
from typing import Any
from unittest.mock import MagicMock

import pytest
from changed_copies import assert_same_answers_after, unchanged_answers
from compare import RECORDS

type Decorator = Callable[[Any], object]

frozen = dataclass(frozen=True)


def with_reversed_constructor(record: Any) -> type:
    """The record class with a constructor that takes its fields from the last to the first."""
    made = frozen(record)
    store = made.__init__
    made.__init__ = lambda self, *values: store(self, *values[::-1])
    return made


def with_post_init(record: Any) -> type:
    """The record class with a method that changes the first field of a new instance."""
    first_field = next(iter(record.__annotations__))

    def change_first_field(self: object) -> None:
        object.__setattr__(self, first_field, ["changed", getattr(self, first_field)])

    record.__post_init__ = change_first_field
    return frozen(record)


class ListingMeta(type):
    """A metaclass whose classes, when called, list the arguments instead of making an instance."""

    def __call__(cls, *values: object) -> object:
        return [cls.__name__, *values]


def with_metaclass(record: Any) -> type:
    """The record class with a metaclass that decides what a call returns."""
    return frozen(ListingMeta(record.__name__, (), dict(vars(record))))


def with_default_factory(record: Any) -> type:
    """The record class with one more field, which is not a parameter of its constructor."""
    record.__annotations__["tags"] = list
    record.tags = dataclasses.field(init=False, default_factory=list)
    return frozen(record)


def with_fewer_fields(record: Any) -> type:
    """The record class without its last field."""
    record.__annotations__.popitem()
    return frozen(record)


def with_inherited_post_init(record: Any) -> type:
    """The record class with a base class that has such a method."""

    def overwrite_fields(self: object) -> None:
        vars(self).update(dict.fromkeys(vars(self), "of the base"))

    base = type("Base", (), {"__post_init__": overwrite_fields})
    return frozen(type(record.__name__, (base,), dict(vars(record))))


def with_property(record: Any) -> type:
    """The record class with a property of its own for the first field."""
    made = frozen(record)
    first_field = fields(made)[0].name
    setattr(made, first_field, property(lambda _: "of a property", lambda _self, _value: None))
    return made


def with_allocator(record: Any) -> type:
    """The record class with a `__new__` that returns something else."""
    record.__new__ = lambda cls, *values: (cls.__name__, *values)
    return frozen(record)


def with_setattr(record: Any) -> type:
    """The record class, not frozen, with a `__setattr__` that its constructor calls."""

    def store_list(self: object, name: str, value: object) -> None:
        object.__setattr__(self, name, [value])

    record.__setattr__ = store_list
    return dataclass(record)


def with_init_var(record: Any) -> type:
    """The record class whose constructor takes the first field and does not store it."""
    first_field = next(iter(record.__annotations__))
    record.__annotations__[first_field] = dataclasses.InitVar[str]
    return frozen(record)


def with_keyword_only_fields(record: Any) -> type:
    """The record class with a constructor that takes keywords only."""
    made = dataclass(frozen=True, kw_only=True)(record)
    made.__match_args__ = tuple(record.__annotations__)
    return made


def with_last_field_outside_of_constructor(record: Any) -> type:
    """The record class with a constructor that does not take the last field."""
    *_, last_field = record.__annotations__
    setattr(record, last_field, dataclasses.field(default=None, init=False))
    made = frozen(record)
    made.__match_args__ = tuple(record.__annotations__)
    return made


def with_constructor_of_reordered_fields(record: Any) -> type:
    """The record class with the constructor of a dataclass whose fields are in another order."""
    made = frozen(record)
    reordered = dict(reversed(record.__annotations__.items()))
    made.__init__ = frozen(type("Other", (), {"__annotations__": reordered})).__init__
    return made


def with_setattr_of_frozen_class(record: Any) -> type:
    """The record class, not frozen, with the `__setattr__` of a frozen dataclass."""
    record.__setattr__ = frozen(type(record.__name__, (), dict(vars(record)))).__setattr__
    return dataclass(record)


def function_of(record: Any) -> Callable[..., object]:
    """A function that returns what it is called with."""
    return lambda *values: (record.__name__, *values)


# What a replacement for dataclass(frozen=True) at the import makes of a record class, and so binds
# to its name.
DECORATORS: dict[str, Decorator] = {
    "a class with a reversed constructor": with_reversed_constructor,
    "a class with __post_init__": with_post_init,
    "a class with a metaclass": with_metaclass,
    "a class with a default_factory": with_default_factory,
    "a class with fewer fields": with_fewer_fields,
    "a class that inherits __post_init__": with_inherited_post_init,
    "a class with a property": with_property,
    "a class with __new__": with_allocator,
    "a class with __setattr__": with_setattr,
    "a class with an InitVar": with_init_var,
    "a class with keyword-only fields": with_keyword_only_fields,
    "a class whose constructor lacks the last field": with_last_field_outside_of_constructor,
    "a class with a constructor of reordered fields": with_constructor_of_reordered_fields,
    "a class with __setattr__ of a frozen class": with_setattr_of_frozen_class,
    "the undecorated class": lambda record: record,
    "a partial with an argument": lambda record: partial(frozen(record), 5),
    "a function": function_of,
    "a MagicMock": lambda record: MagicMock(side_effect=function_of(record)),
    "None": lambda _: None,
    "a tuple": lambda _: (),
    "a number": lambda _: 5,
    "a str": lambda _: "class",
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
    assert_same_answers_after(lambda _: None)


SAME_RECORDS: dict[str, Decorator] = {
    "a partial": lambda record: partial(frozen(record)),
    "a class with __slots__": dataclass(frozen=True, slots=True),
}


@pytest.mark.parametrize("decorator", SAME_RECORDS.values(), ids=SAME_RECORDS)
def test_something_else_may_make_the_same_records(
    replace_dataclass: Callable[[Decorator], None], decorator: Decorator
) -> None:
    replace_dataclass(decorator)
    assert_same_answers_after(lambda _: None, changes_answers=False)


@pytest.mark.parametrize("match_args", [5, None, ("start", 5), ("start", "end")], ids=repr)
def test_match_args_matter_to_match_statements_only(
    replace_dataclass: Callable[[Decorator], None], match_args: object
) -> None:
    def decorate(record: Any) -> type:
        made = frozen(record)
        made.__match_args__ = match_args
        return made

    replace_dataclass(decorate)
    assert_same_answers_after(lambda _: None, changes_answers=False)


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
    assert_same_answers_after(lambda module: change(getattr(module, record)))


@pytest.mark.parametrize("record", RECORDS)
def test_the_class_may_have_seen_its_fields_in_another_order(record: str) -> None:
    # CPython stores the fields of all later instances in the order of the first.
    def set_fields_in_reverse(module: Any) -> None:
        first = object.__new__(getattr(module, record))
        for field in reversed(fields(first)):
            object.__setattr__(first, field.name, None)

    assert_same_answers_after(set_fields_in_reverse, changes_answers=False)
