"""What an importer sees: names, signatures, docstrings, classes; and copies of the module."""

import ast
import gc
import logging
import pickle
import re
import subprocess
import tracemalloc
import weakref
from inspect import signature
from itertools import pairwise
from pathlib import Path
from types import FunctionType
from unittest.mock import patch

import pytest
from compare import FUNCTIONS, NAMES, RECORDS, load_copy, native, neutral, outcome, own_names, plain


def test_the_stub_binds_its_names_in_the_order_of_the_reference() -> None:
    assert own_names(load_copy(native, "a.git_utils")) == NAMES


def test_the_module_has_no_special_names_that_a_python_module_lacks() -> None:
    special = {name for name in vars(native) if name.startswith("__")}
    assert special <= {*vars(plain)}


# What functions and classes show of themselves; some attributes only exist in the one or the other.
SHOWN = ("__name__", "__qualname__", "__module__", "__annotations__", "__bases__")
SHOWN += ("__dataclass_params__",)
HIDDEN_MEMBERS = {"__firstlineno__", "__static_attributes__", "__slotnames__"}


def appearance(definition: type | FunctionType) -> str:
    """What can be seen of it, with the name of the native module for that of the plain one."""
    shown = [getattr(definition, name, None) for name in SHOWN]
    members = sorted({*vars(definition)} - HIDDEN_MEMBERS)
    return neutral(f"{type(definition)} {shown} {members} {outcome(signature, definition)}")


@pytest.mark.parametrize("name", [*FUNCTIONS, *RECORDS, "GitError"])
def test_functions_and_classes_look_like_those_of_a_python_module(name: str) -> None:
    definition = getattr(native, name)
    assert appearance(definition) == appearance(getattr(plain, name))


def test_the_code_of_a_function_names_no_file_that_exists() -> None:
    # Tools do not look for a file whose name begins with "<"; log records take the module's name
    # from the rest.
    assert native._span.__code__.co_filename == "<frozen>/git_utils.pyi"


@pytest.mark.parametrize("arguments", [(1, 2), (1, 2, 3, 4)], ids=["too few", "too many"])
def test_a_native_body_counts_its_arguments(arguments: tuple[int, ...]) -> None:
    body = native._span.__closure__[0].cell_contents
    with pytest.raises(TypeError, match=f"expected 3 arguments, got {len(arguments)}"):
        body(*arguments)


@pytest.mark.parametrize("name", [name for name in NAMES if re.fullmatch("[A-Z_]+", name)])
def test_a_constant_equals_that_of_the_reference(name: str) -> None:
    constant, expected = getattr(native, name), getattr(plain, name)
    assert type(constant) is type(expected)
    assert constant == expected
    assert str(constant) == str(expected), "the order of its entries differs"


def test_docstrings_are_those_of_the_stub_with_their_indentation() -> None:
    stub = ast.parse(Path(native.__file__).with_name("git_utils.pyi").read_text(encoding="utf-8"))
    assert native.__doc__ == ast.get_docstring(stub, clean=False)
    for definition in stub.body:
        if isinstance(definition, ast.FunctionDef | ast.ClassDef):
            docstring = ast.get_docstring(definition, clean=False)
            assert getattr(native, definition.name).__doc__ == docstring


def parsed_records() -> list[object]:
    """Records of all classes, the first of a parse and later ones."""
    files = native.parse_file_changes(":1 1 M\0a\0:1 1 R1\0o\0p\0x\01\t2\t\0o\0p\0")
    commits = native.parse_commit_changes("\x1e5\0\x1e6\0\n:1 1 M\0a\01\t2\ta\0")
    spans = native.parse_line_spans("+++ a\n@@ -1,0 +1 @@\n+\n@@ -5 +6 @@\n")["a"]
    return [*files, *commits, *spans]


@pytest.mark.parametrize("record", parsed_records(), ids=repr)
def test_a_parsed_record_is_what_its_constructor_makes(record: object) -> None:
    fields = {field: getattr(record, field) for field in type(record).__match_args__}
    made = type(record)(**fields)
    assert (record, hash(record)) == (made, hash(made))
    assert pickle.loads(pickle.dumps(record)) == made
    object.__setattr__(record, "late", 5)
    assert list(vars(record).items()) == [*fields.items(), ("late", 5)]


@pytest.mark.parametrize("name", ["re.compile", "logging.getLogger", "dataclasses.dataclass"])
def test_an_import_that_fails_half_way_raises_the_same_exception(name: str) -> None:
    error = KeyboardInterrupt("half-way")
    with pytest.raises(KeyboardInterrupt) as caught, patch(name, side_effect=error):
        load_copy(native, "half.git_utils")
    assert caught.value is error
    assert error.__context__ is None


def test_the_entry_is_the_only_exported_symbol() -> None:
    command = ["nm", "--dynamic", "--defined-only", "--format=posix", native.__file__]
    symbols = subprocess.run(command, check=True, capture_output=True, encoding="ascii").stdout
    assert [line.split()[0] for line in symbols.splitlines()] == ["PyInit_git_utils"]


def test_a_copy_has_a_logger_of_its_own_name_without_settings() -> None:
    second = load_copy(native, "second.git_utils")
    assert second.logger is logging.getLogger("second.git_utils")
    assert second.logger is not native.logger
    assert (second.logger.level, second.logger.handlers) == (logging.NOTSET, [])


def test_a_record_class_may_become_abstract() -> None:
    second = load_copy(native, "second.git_utils")
    second.LineSpan.__abstractmethods__ = {"start"}
    with pytest.raises(TypeError, match="abstract"):
        second.parse_line_spans("+++ a\n@@ -1 +1 @@")


@pytest.mark.collects_copies
def test_an_unused_copy_is_collected() -> None:
    second = load_copy(native, "git_utils")
    second.parse_line_spans("+++ a\n@@ -1 +1 @@\n")
    assert outcome(second.run_git_command, "/", ("a",))[0] == "TypeError"
    remains = [weakref.ref(second), weakref.ref(second._span), weakref.ref(second.LineSpan)]
    del second
    gc.collect()
    assert [remain() for remain in remains] == [None, None, None]


def memory_after_20_copies() -> int:
    """The bytes that are allocated after copies have been made and collected."""
    for _ in range(20):
        load_copy(native, "git_utils").parse_line_spans("+++ a\n@@ -1 +1 @@\n")
    gc.collect()
    return tracemalloc.get_traced_memory()[0]


@pytest.mark.collects_copies
def test_collected_copies_keep_no_memory() -> None:
    tracemalloc.start()
    try:
        memory = [memory_after_20_copies() for _ in range(6)]
    finally:
        tracemalloc.stop()
    # A leak grows in every round, a cache of the interpreter only in some.
    kept = min(after - before for before, after in pairwise(memory)) / 20
    # The interpreter itself keeps about 100 bytes, the smallest table of a copy takes 900.
    assert kept < 500
