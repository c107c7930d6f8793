"""What an importer sees: names, signatures, texts, classes, and imports that fail."""

import ast
import copy
import dataclasses
import gc
import importlib
import importlib.machinery
import importlib.util
import inspect
import logging
import pickle
import re
import subprocess
import sys
import weakref
from datetime import datetime
from pathlib import Path
from types import FunctionType, ModuleType

import pytest
from twin import assert_alike, load_copy, native, neutral, outcome, plain

HOST_MODULE = "orvel_tarnix.utils.process"
FUNCTIONS = [name for name, value in vars(plain).items() if isinstance(value, FunctionType)]
for imported in ("dataclass", "get_subprocess_hidden_kwargs"):
    FUNCTIONS.remove(imported)
RECORDS = ["FileChange", "CommitChanges", "LineSpan"]


def test_the_built_extension_is_what_was_imported() -> None:
    assert type(native.__loader__) is importlib.machinery.ExtensionFileLoader
    assert native.__name__ == "orvel_tarnix.utils.git_utils"
    assert native.__package__ == "orvel_tarnix.utils"


def test_names_are_bound_in_the_order_of_the_body_and_there_are_no_others() -> None:
    mine, its = (list(vars(load_copy(module, "a.git_utils"))) for module in (native, plain))
    assert set(mine) < set(its)
    assert [name for name in its if not name.startswith("__")] == [
        name for name in mine if not name.startswith("__")
    ]


@pytest.mark.parametrize("name", FUNCTIONS)
def test_each_function_has_the_face_of_a_python_function(name: str) -> None:
    def face(module: ModuleType) -> dict[str, object]:
        function = getattr(module, name)
        code = function.__code__
        return {
            "type": type(function),
            "names": (function.__name__, function.__qualname__, neutral(function.__module__)),
            "signature": neutral(str(inspect.signature(function))),
            "annotations": neutral(repr(list(function.__annotations__.items()))),
            "defaults": repr(function.__defaults__),
            "keyword defaults": repr(function.__kwdefaults__),
            "parameters": code.co_varnames[: code.co_argcount + code.co_kwonlyargcount],
            "attributes": vars(function),
        }

    assert face(native) == face(plain)
    assert getattr(native, name).__globals__ is vars(native)


def test_docstrings_are_those_of_the_stub_with_their_indentation() -> None:
    stub = ast.parse(Path(native.__file__).with_name("git_utils.pyi").read_text(encoding="utf-8"))
    assert native.__doc__ == ast.get_docstring(stub, clean=False)
    documented = [node for node in stub.body if isinstance(node, ast.FunctionDef | ast.ClassDef)]
    for node in documented:
        assert getattr(native, node.name).__doc__ == ast.get_docstring(node, clean=False)
    assert {node.name for node in documented} == {*FUNCTIONS, *RECORDS, "GitError"}
    assert native.parse_file_changes.__doc__.endswith("\n        record.\n    ")


def test_constants_are_plain_values_of_the_published_types() -> None:
    names = [name for name in vars(plain) if re.fullmatch("[A-Z_]{6,}", name)]
    assert len(names) == 11
    for name in names:
        mine, its = getattr(native, name), getattr(plain, name)
        assert type(mine) is type(its), name
        assert mine == its, name
        assert list(mine) == list(its) if isinstance(mine, dict) else True, name
    assert native.logger is logging.getLogger(native.__name__)
    assert native.get_subprocess_hidden_kwargs is plain.get_subprocess_hidden_kwargs


@pytest.mark.parametrize("name", [*RECORDS, "GitError"])
def test_classes_are_what_a_class_statement_makes(name: str) -> None:
    def face(module: ModuleType) -> dict[str, object]:
        made = getattr(module, name)
        of_others = {"__firstlineno__", "__static_attributes__", "__slotnames__"}
        return {
            "bases": made.__bases__,
            "names": (made.__name__, made.__qualname__, neutral(made.__module__)),
            "members": set(vars(made)) - of_others,
            "annotations": neutral(repr(list(made.__annotations__.items()))),
            "match": getattr(made, "__match_args__", None),
            "parameters": repr(getattr(made, "__dataclass_params__", None)),
        }

    assert face(native) == face(plain)


MADE = [
    native.FileChange("new", "renamed", 1, 2, "old"),
    native.parse_commit_changes("\x1e5\x00\n:1 1 M\x00a\x001\t2\ta\x00")[0],
    native.parse_line_spans("+++ a\n@@ -1 +1,2 @@\n")["a"][0],
]


@pytest.mark.parametrize("record", MADE, ids=RECORDS)
def test_records_are_frozen_dataclasses_however_they_were_made(record: object) -> None:
    values = dataclasses.astuple(record) if type(record) is not native.CommitChanges else None
    values = values or (record.timestamp, record.files)
    assert type(record)(*values) == record != values
    assert hash(type(record)(*values)) == hash(record) == hash(values)
    assert tuple(vars(record)) == type(record).__match_args__
    for twin in (pickle.loads(pickle.dumps(record)), copy.deepcopy(record)):
        assert twin == record
        assert twin is not record
    first = type(record).__match_args__[0]
    for change in (lambda: setattr(record, first, 7), lambda: delattr(record, first)):
        with pytest.raises(dataclasses.FrozenInstanceError, match=f"field '{first}'"):
            change()
    with pytest.raises(dataclasses.FrozenInstanceError, match="cannot assign to field 'other'"):
        record.other = 1
    assert tuple(vars(record).values()) == values
    with pytest.raises(TypeError, match="'<' not supported"):
        sorted([record, record])


WRONG_CALLS = {
    "find_repo_root": [((1,), {})],
    "find_git_root": [((), {"path": 1})],
    "run_git_command": [((1, [], 2, 3), {}), ((1, []), {"args": []})],
    "log_commit_changes": [((1,), {"since": 1}), ((1, 2, 3, 4), {})],
    "diff_line_spans": [((1, "a", "b"), {}), ((1, "a", "b", True), {})],
    "LineSpan": [((1, 2), {})],
    "FileChange": [((1, 2, 3, 4, 5, 6), {})],
}


@pytest.mark.parametrize("name", WRONG_CALLS)
def test_wrong_calls_fail_with_the_words_of_python(name: str) -> None:
    for args, keywords in WRONG_CALLS[name]:
        assert_alike(name, *args, **keywords)
        with pytest.raises(TypeError, match=name):
            getattr(native, name)(*args, **keywords)


def test_functions_and_classes_are_pickled_by_name() -> None:
    for name in [*FUNCTIONS, *RECORDS, "GitError"]:
        assert pickle.loads(pickle.dumps(getattr(native, name))) is getattr(native, name)


def import_afresh(monkeypatch: pytest.MonkeyPatch, name: str) -> ModuleType:
    monkeypatch.delitem(sys.modules, name)
    return importlib.import_module(name)


@pytest.mark.parametrize("host", [None, ModuleType(HOST_MODULE), ModuleType("misnamed")])
def test_an_import_fails_as_python_does_without_what_the_host_brings(
    monkeypatch: pytest.MonkeyPatch, host: ModuleType | None
) -> None:
    monkeypatch.setitem(sys.modules, HOST_MODULE, host)
    errors = []
    for name in (native.__name__, plain.__name__):
        with pytest.raises(ImportError) as caught:
            import_afresh(monkeypatch, name)
        error = caught.value
        errors.append((type(error), str(error), error.name, error.path, error.name_from))
        assert name not in sys.modules
    assert errors[0] == errors[1]


@pytest.mark.parametrize(
    ("module", "name"), [(re, "compile"), (logging, "getLogger"), (dataclasses, "dataclass")]
)
def test_an_import_that_fails_half_way_fails_with_that_very_exception(
    monkeypatch: pytest.MonkeyPatch, module: ModuleType, name: str
) -> None:
    error = KeyboardInterrupt("half-way")

    def fail(*_args: object, **_keywords: object) -> None:
        raise error

    with monkeypatch.context() as patch:
        patch.setattr(module, name, fail)
        with pytest.raises(KeyboardInterrupt) as caught:
            import_afresh(patch, native.__name__)
        is_kept = native.__name__ in sys.modules
    assert caught.value is error
    assert error.__context__ is None
    assert not is_kept


def test_the_entry_is_the_only_exported_symbol() -> None:
    command = ["nm", "--dynamic", "--defined-only", "--format=posix", native.__file__]
    symbols = subprocess.run(command, check=True, capture_output=True, encoding="ascii").stdout
    assert [line.split()[0] for line in symbols.splitlines()] == ["PyInit_git_utils"]


def test_a_second_copy_shares_nothing_with_the_first() -> None:
    second = load_copy(native, "second.git_utils")
    assert second.logger is logging.getLogger("second.git_utils")
    assert second._span.__module__ == second.LineSpan.__module__ == "second.git_utils"
    second._STATUS_BY_LETTER["M"] = "changed"
    stream = ":1 1 M\x00a\x00"
    assert second.parse_file_changes(stream) == [second.FileChange("a", "changed", 0, 0)]
    assert native.parse_file_changes(stream) == [native.FileChange("a", "modified", 0, 0)]


def test_a_copy_needs_no_place_among_the_imported_modules() -> None:
    spec = importlib.util.spec_from_file_location("lone.git_utils", native.__file__)
    lone = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(lone)
    lone.run_git_command = lambda _root, args: (args[2], "", 0)
    moment = datetime(2026, 9, 1)  # whose strftime imports the module time
    assert lone.commit_before("r", "main", moment) == "--before=2026-09-01 00:00:00"


def test_a_copy_that_nobody_uses_is_collected() -> None:
    second = load_copy(native, "git_utils")
    second.parse_line_spans("+++ a\n@@ -1 +1 @@\n")
    assert outcome(second.run_git_command, "/", ("a",))[0] == "TypeError"
    remains = [weakref.ref(each) for each in (second, second._span, second.LineSpan)]
    del second
    gc.collect()
    assert [remain() for remain in remains] == [None, None, None]
