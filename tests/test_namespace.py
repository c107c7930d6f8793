"""What an importer sees: names, signatures, texts, classes, and imports that fail."""

import ast
import copy
import gc
import logging
import pickle
import re
import subprocess
import sys
import weakref
from inspect import signature
from pathlib import Path
from types import FunctionType
from unittest.mock import patch

import pytest
from compare import FUNCTIONS, RECORDS, load_copy, native, neutral, outcome, plain


def test_names_are_bound_in_the_order_of_the_body_and_there_are_no_others() -> None:
    assert type(native.__loader__).__name__ == "ExtensionFileLoader"
    mine, its = (list(vars(load_copy(module, "a.git_utils"))) for module in (native, plain))
    assert mine == [name for name in its if name in mine or name[:2] != "__"]


# Some belong to functions, some to classes.
SHOWN = ("name", "qualname", "module", "annotations", "bases", "dataclass_params")


def face(made: type | FunctionType) -> str:
    """What can be seen of it, naming the native module where that is the plain one."""
    shown = [getattr(made, f"__{name}__", None) for name in SHOWN]
    members = sorted({*vars(made)} - {"__firstlineno__", "__static_attributes__", "__slotnames__"})
    return neutral(f"{type(made)} {shown} {members} {outcome(signature, made)}")


@pytest.mark.parametrize("name", [*FUNCTIONS, *RECORDS, "GitError"])
def test_functions_and_classes_have_the_faces_that_python_gives_them(name: str) -> None:
    mine = getattr(native, name)
    assert face(mine) == face(getattr(plain, name))
    assert pickle.loads(pickle.dumps(mine)) is mine
    assert getattr(mine, "__globals__", vars(native)) is vars(native)


def test_a_native_body_is_in_no_file_and_counts_its_arguments() -> None:
    # No tool looks for a file with a "<", and a log record gets its module's name from this.
    assert native._span.__code__.co_filename == "<frozen>/git_utils.pyi"
    body = native._span.__closure__[0].cell_contents
    for arguments in [(1, 2), (1, 2, 3, 4)]:
        with pytest.raises(TypeError, match=f"expected 3 arguments, got {len(arguments)}"):
            body(*arguments)


def test_constants_are_equal_down_to_their_types_and_order() -> None:
    for name in [name for name in vars(plain) if re.fullmatch("[A-Z_]{6,}", name)]:
        mine, its = getattr(native, name), getattr(plain, name)
        assert (type(mine), mine, str(mine)) == (type(its), its, str(its)), name


def test_docstrings_are_those_of_the_stub_with_their_indentation() -> None:
    stub = ast.parse(Path(native.__file__).with_name("git_utils.pyi").read_text(encoding="utf-8"))
    assert native.__doc__ == ast.get_docstring(stub, clean=False)
    for node in [node for node in stub.body if isinstance(node, ast.FunctionDef | ast.ClassDef)]:
        assert getattr(native, node.name).__doc__ == ast.get_docstring(node, clean=False)


def test_parsed_records_are_those_that_the_constructors_make() -> None:
    files = native.parse_file_changes(":1 1 M\0a\0:1 1 R1\0o\0p\x001\t2\t\0o\0p\0")
    commits = native.parse_commit_changes("\x1e5\0\x1e6\0\n:1 1 M\0a\x001\t2\ta\0")
    for record in (*files, *commits, *native.parse_line_spans("+++ a\n@@ -1,0 +1 @@\n")["a"]):
        fields = type(record).__match_args__
        values = tuple(getattr(record, field) for field in fields)
        object.__setattr__(record, "late", 5)
        found, expected = list(vars(record).items()), list(zip(fields, values, strict=True))
        assert found == [*expected, ("late", 5)]
        made = type(record)(*values), pickle.loads(pickle.dumps(record)), copy.deepcopy(record)
        assert {record, *made} == {record}


@pytest.mark.parametrize("name", ["re.compile", "logging.getLogger", "dataclasses.dataclass"])
def test_an_import_that_fails_half_way_fails_with_that_very_exception(name: str) -> None:
    error = KeyboardInterrupt("half-way")
    with pytest.raises(KeyboardInterrupt) as caught, patch(name, side_effect=error):
        load_copy(native, "half.git_utils")
    assert (caught.value, error.__context__) == (error, None)


def test_the_entry_is_the_only_exported_symbol() -> None:
    command = ["nm", "--dynamic", "--defined-only", "--format=posix", native.__file__]
    symbols = subprocess.run(command, check=True, capture_output=True, encoding="ascii").stdout
    assert [line.split()[0] for line in symbols.splitlines()] == ["PyInit_git_utils"]


def test_a_copy_shares_nothing() -> None:
    second = load_copy(native, "second.git_utils")
    assert second.logger is logging.getLogger("second.git_utils") is not native.logger
    assert (second.logger.level, second.logger.handlers) == (logging.NOTSET, [])
    second._STATUS_BY_LETTER["M"] = "changed"
    statuses = [each.parse_file_changes(":1 M\0a\0")[0].status for each in (second, native)]
    assert statuses == ["changed", "modified"]
    second.LineSpan.__abstractmethods__ = {"start"}
    with pytest.raises(TypeError, match="abstract"):
        second.parse_line_spans("+++ a\n@@ -1 +1 @@")


def test_a_copy_that_nobody_uses_is_collected() -> None:
    gc.collect()
    name = sys.intern("lore-book")  # one of those that a copy holds
    before = sys.getrefcount(name)
    second = load_copy(native, "git_utils")
    second.parse_line_spans("+++ a\n@@ -1 +1 @@\n")
    assert outcome(second.run_git_command, "/", ("a",))[0] == "TypeError"
    remains = weakref.ref(second), weakref.ref(second._span), weakref.ref(second.LineSpan)
    del second
    gc.collect()
    assert [remain() for remain in remains] == [None, None, None]
    assert sys.getrefcount(name) == before
