"""Record classes other than those that dataclass makes, from the import on or changed later."""

import dataclasses
from collections.abc import Callable
from dataclasses import dataclass, fields, make_dataclass
from types import FunctionType, SimpleNamespace
from typing import Any

import pytest
from changed_copies import assert_same_answers_after, unchanged_answers
from compare import RECORDS

type Decorator = Callable[[Any], object]

frozen = dataclass(frozen=True)


def with_reversed_constructor(record: Any) -> type:
    made = frozen(record)
    store = made.__init__
    made.__init__ = lambda self, *values: store(self, *values[::-1])
    return made


def with_post_init(record: Any) -> type:
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
    return frozen(ListingMeta(record.__name__, (), dict(vars(record))))


def with_fewer_fields(record: Any) -> type:
    record.__annotations__.popitem()
    return frozen(record)


def with_inherited_post_init(record: Any) -> type:
    def overwrite_fields(self: object) -> None:
        vars(self).update(dict.fromkeys(vars(self), "of the base"))

    base = type("Base", (), {"__post_init__": overwrite_fields})
    return frozen(type(record.__name__, (base,), dict(vars(record))))


def with_property(record: Any) -> type:
    made = frozen(record)
    first_field = fields(made)[0].name
    setattr(made, first_field, property(lambda _: "of a property", lambda _self, _value: None))
    return made


def with_allocator(record: Any) -> type:
    record.__new__ = lambda cls, *values: (cls.__name__, *values)
    return frozen(record)


def with_setattr(record: Any) -> type:
    def store_list(self: object, name: str, value: object) -> None:
        object.__setattr__(self, name, [value])

    record.__setattr__ = store_list
    return dataclass(record)


def with_init_var(record: Any) -> type:
    first_field = next(iter(record.__annotations__))
    record.__annotations__[first_field] = dataclasses.InitVar[str]
    return frozen(record)


def with_keyword_only_fields(record: Any) -> type:
    return dataclass(frozen=True, kw_only=True)(record)


def with_reordered_parameters(record: Any) -> type:
    made = frozen(record)
    names = [field.name for field in fields(made)]
    stores = "; ".join(f"object.__setattr__(self, {name!r}, {name})" for name in names)
    constructor = f"def __init__(self, {', '.join(names[::-1])}): {stores}"
    namespace: dict[str, Any] = {}
    # `object` is a closure variable there too, so that only the names of the parameters differ.
    exec(f"def define(object):\n {constructor}\n return __init__", namespace)
    made.__init__ = namespace["define"](object)
    return made


def with_constructor_of_reordered_fields(record: Any) -> type:
    made = frozen(record)
    reordered = dict(reversed(record.__annotations__.items()))
    made.__init__ = frozen(type("Other", (), {"__annotations__": reordered})).__init__
    return made


# What a replacement for dataclass(frozen=True) at the import makes of a record class, and so binds
# to its name.
DECORATORS: dict[str, Decorator] = {
    "a class whose constructor takes the fields from last to first": with_reversed_constructor,
    "a class with __post_init__": with_post_init,
    "a class with a metaclass that decides what a call returns": with_metaclass,
    "a class without its last field": with_fewer_fields,
    "a class that inherits __post_init__": with_inherited_post_init,
    "a class with a property for a field": with_property,
    "a class whose __new__ returns a tuple": with_allocator,
    "a class with a __setattr__ that its constructor calls": with_setattr,
    "a class that does not store its first field": with_init_var,
    "a class with keyword-only fields": with_keyword_only_fields,
    "a class with the constructor of reordered fields": with_constructor_of_reordered_fields,
    "a class whose constructor takes the parameters in another order": with_reordered_parameters,
    "the undecorated class": lambda record: record,
    "a function": lambda record: lambda *values: (record.__name__, *values),
    "None": lambda _: None,
}


@pytest.fixture
def replace_dataclass(monkeypatch: pytest.MonkeyPatch) -> Callable[[Decorator], None]:
    """Let dataclass(frozen=True) return another decorator to the copies made in the test."""
    unchanged_answers()  # cached now: a later copy would be made with the replacement
    return lambda decorator: monkeypatch.setattr(dataclasses, "dataclass", lambda **_: decorator)


@pytest.mark.parametrize("decorator", DECORATORS.values(), ids=DECORATORS)
def test_a_record_is_made_by_what_dataclass_returned(
    replace_dataclass: Callable[[Decorator], None], decorator: Decorator
) -> None:
    replace_dataclass(decorator)
    assert_same_answers_after(lambda _: None)


def test_a_record_class_may_have_slots(
    replace_dataclass: Callable[[Decorator], None],
) -> None:
    replace_dataclass(dataclass(frozen=True, slots=True))
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
