"""Whatever is bound to a module-level name is used from then on, as in a module of plain Python.

Each test changes fresh copies of the native module and of its plain twin in the same way and
compares what the two then answer to the same calls.
"""

import re
from collections.abc import Callable
from dataclasses import fields, make_dataclass
from datetime import datetime
from pathlib import Path
from types import FunctionType, ModuleType, SimpleNamespace
from typing import Any

import pytest
from twin import NOW, FrozenClock, load_copy, native, outcome, plain

type Change = Callable[[ModuleType], object]

NAMES = [name for name in vars(plain) if not name.startswith("__")]
CALLABLES = [name for name in NAMES if callable(getattr(plain, name))]
RECORDS = ["FileChange", "CommitChanges", "LineSpan"]
IMPORTED = {"dataclass", "get_subprocess_hidden_kwargs"}
UNUSED = {"logging", "re", "Sequence", "dataclass", "Any"}  # they serve the import alone

TOKENS = [":1 1 0 0 M", "a", ":1 1 0 0 R086", "b", "c", ":1 1 0 0 X", "d", "3\t1\ta"]
TOKENS += ["-\t-\t", "b", "c", ""]
DIFF = "\0".join(TOKENS)
LOG = f"\x1e5\0\n{DIFF}\x1e4\0\n:0 1 0 0 A\0e\0"
PATCH = (
    "+++ a b\t\n@@ -1 +1,2 @@\n-x\n+y\n+z\n@@ -9,0 +9 @@\n+C\n"
    '+++ "\\t\\303\\251%t"\n@@ -5 +4,0 @@ f()\n-x\n+++ /dev/null\n@@ -1 +0,0 @@\n-x\n'
)
PRINTED = {
    "bad": "",
    "log": LOG,
    "--raw": DIFF,
    "--literal-pathspecs": PATCH,
    "shortlog": "  2\tAnn <a@b>\n",
    "--count": "3\n",
    "--short": "abc\n",
}
CALLS: dict[str, Callable[[ModuleType], object]] = {
    "spans": lambda m: m.parse_line_spans(PATCH),
    "wide spans": lambda m: m.parse_line_spans(f"{PATCH}\n中"),
    "files": lambda m: m.parse_file_changes(DIFF),
    "repeated files": lambda m: m.parse_file_changes(DIFF + DIFF),
    "files of tokens": lambda m: m._file_changes(TOKENS),
    "commits": lambda m: m.parse_commit_changes(LOG),
    "odd commits": lambda m: m.parse_commit_changes(f"C{LOG}\x1e 6 \0C7"),
    "name": lambda m: m._unquote("\\t\\\\\\303\\251%t"),
    "path": lambda m: m._patch_path('"\\t"'),
    "count": lambda m: m._line_count("12"),
    "span": lambda m: (m._span(1, 2, 0), m._span(0, 0, 1)),
    "batches": lambda m: m._path_batches(["a" * 9000, "b" * 9000]),
    "relative": lambda m: m.parse_time_spec("7d"),
    "absolute": lambda m: m.parse_time_spec("2026-09-01T00:00:00Z"),
    "invalid": lambda m: m.parse_time_spec("soon"),
    "root": lambda m: m.find_git_root(),
    "root or here": lambda m: m.find_repo_root(),
    "wiki": lambda m: m.wiki_directory(Path("r"), "a/b"),
    "short name": lambda m: m.normalize_branch_name("origin/x"),
    "branch": lambda m: m.resolve_display_branch("r"),
    "head": lambda m: m.get_head_commit("r"),
    "default": lambda m: m.get_default_branch("r"),
    "exists": lambda m: m.branch_exists("r", "bad"),
    "resolved": lambda m: m.resolve_commit("r", "x"),
    "ahead": lambda m: m.count_commits("r", "a", "b"),
    "before": lambda m: m.commit_before("r", "a", NOW),
    "authors": lambda m: m.get_authors_for_period("r"),
    "run": lambda m: m.run_git_command("r", ["x"]),
    "failed": lambda m: m._git_output("r", ["bad"]),
    "missing": lambda m: m._git_output("r", ["missing"]),
    "diff": lambda m: m.diff_file_changes("r", "a", "b"),
    "log": lambda m: m.log_commit_changes("r", since=NOW, ref=None, max_commits=1),
    "lines": lambda m: m.diff_line_spans("r", "a", "b", merge_base=True),
    "lines of paths": lambda m: m.diff_line_spans("r", "a", "b", merge_base=True, paths=["x", "y"]),
}


def run(command: list[str], **_keywords: object) -> SimpleNamespace:
    """Answer as git would."""
    if "missing" in command:
        raise FileNotFoundError("git")
    printed = next((text for key, text in PRINTED.items() if key in command), "def\n")
    return SimpleNamespace(stdout=printed, stderr="said", returncode=int("bad" in command))


def answers_after(module: ModuleType, change: Change) -> dict[str, object]:
    """Change a copy of the module and take down what it answers to the calls."""
    copy = load_copy(module, "copied.git_utils")
    copy.datetime = FrozenClock
    copy.subprocess = SimpleNamespace(run=run, TimeoutExpired=TimeoutError)
    change(copy)
    return {label: outcome(call, copy) for label, call in CALLS.items()}


@pytest.fixture(autouse=True)
def _outside_of_a_repository(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(Path, "cwd", lambda: tmp_path)


def assert_followed(change: Change, *, shows: bool = True) -> None:
    """Both modules follow the change, and that makes a difference."""
    answers = answers_after(native, change)
    expected = answers_after(plain, change)
    assert answers == expected
    unchanged = answers_after(plain, id)
    assert (expected != unchanged) == shows


def test_without_a_change_all_but_the_failing_calls_succeed() -> None:
    assert_followed(id, shows=False)
    answers = answers_after(native, id)
    failing = {"invalid": "ValueError", "failed": "GitError", "missing": "GitError"}
    assert {label: answer[0] for label, answer in answers.items() if label in failing} == failing
    assert not [answer for answer in answers.values() if answer[0].endswith("Error")][3:]


@pytest.mark.parametrize("name", NAMES)
def test_a_deleted_name_is_missed_where_it_is_used(name: str) -> None:
    assert_followed(lambda module: delattr(module, name), shows=name not in UNUSED)


@pytest.mark.parametrize("name", NAMES)
def test_a_name_bound_to_none_fails_where_it_is_used(name: str) -> None:
    assert_followed(lambda module: setattr(module, name, None), shows=name not in UNUSED)


@pytest.mark.parametrize("name", CALLABLES)
def test_a_replacement_is_called_with_the_arguments_of_the_call(name: str) -> None:
    def echo(*args: object, **keywords: object) -> tuple[object, ...]:
        return name, repr(args), repr(keywords)

    assert_followed(lambda module: setattr(module, name, echo), shows=name not in UNUSED)


FUNCTIONS = [
    name
    for name in CALLABLES
    if isinstance(getattr(native, name), FunctionType) and name not in IMPORTED
]


@pytest.mark.parametrize("name", FUNCTIONS)
def test_a_function_given_other_code_runs_that(name: str) -> None:
    cell = "of a native function"

    def closed(*args: object, **_keywords: object) -> object:
        return cell and ("coded", repr(args))

    def free(*args: object, **_keywords: object) -> object:
        return ("coded", repr(args))

    def change(module: ModuleType) -> None:
        function = getattr(module, name)
        function.__code__ = (closed if function.__closure__ else free).__code__

    assert_followed(change)


def swap_fields(record: Any) -> None:
    """Give the constructor the code of one with the first two fields exchanged."""
    first, second, *rest = ((each.name, each.type, each) for each in fields(record))
    other = make_dataclass("Other", [second[:2], first[:2], *rest], frozen=True)
    record.__init__.__code__ = other.__init__.__code__


def init(self: object, *args: object) -> None:
    """Keep the arguments as they came."""
    vars(self).update(zip(type(self).__match_args__, reversed(args), strict=False))


def new(cls: type, *args: object) -> object:
    """Make a list instead."""
    return [cls.__name__, repr(args)]


PATCHES: dict[str, Callable[[Any], object]] = {
    "constructor": lambda record: setattr(record, "__init__", init),
    "no constructor": lambda record: delattr(record, "__init__"),
    "constructor's code": swap_fields,
    "allocator": lambda record: setattr(record, "__new__", new),
    "property": lambda record: setattr(record, fields(record)[0].name, property(repr)),
    "repr": lambda record: setattr(record, "__repr__", lambda self: f"<{vars(self)}>"),
}


@pytest.mark.parametrize("name", RECORDS)
@pytest.mark.parametrize("patch", PATCHES)
def test_a_patched_record_class_makes_patched_records(name: str, patch: str) -> None:
    assert_followed(lambda module: PATCHES[patch](getattr(module, name)))


@pytest.mark.parametrize("name", RECORDS)
def test_a_class_whose_records_were_pickled_is_the_same(name: str) -> None:
    def change(module: ModuleType) -> None:
        record = getattr(module, name)
        record(*fields(record)).__reduce_ex__(2)  # keeps its findings on the class
        assert "__slotnames__" in vars(record)

    assert_followed(change, shows=False)


class Quiet(dict):
    """A dictionary whose `get` has its own mind."""

    def get(self, key: str, default: object = None) -> object:
        """Give the key itself, told, or fail."""
        if key == "R":
            raise LookupError(key, default)
        return f"<{key}>"


@pytest.mark.parametrize(
    ("name", "value"),
    [
        ("_HUNK_HEADER", re.compile(r"@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@ f")),
        ("_HUNK_HEADER", re.compile(native._HUNK_HEADER.pattern, re.ASCII | re.IGNORECASE)),
        ("_C_ESCAPE", re.compile("%([0-7]{3}|.)")),
        ("_RELATIVE_SPEC", re.compile("(so)(on)")),
        ("_RELATIVE_SPEC", re.compile("([0-9])([a-z])")),
        ("_SPEC_UNITS", {"d": "hours"}),
        ("_SPEC_UNITS", {"d": 5}),
        ("_STATUS_BY_LETTER", {"M": 5}),
        ("_STATUS_BY_LETTER", Quiet()),
        ("_C_ESCAPES", {"t": "中"}),
        ("_C_ESCAPES", {"t": b"t"}),
        ("_C_ESCAPES", {"t": "\ud800"}),
        ("_C_ESCAPES", Quiet()),
        ("_TWO_PATH_LETTERS", {"M"}),
        ("_TWO_PATH_LETTERS", "MR"),
        ("_COMMIT_START", "C"),
        ("_COMMIT_START", ("C", "\x1e")),
        ("_PATCH_OPTIONS", ["log"]),
        ("_PATCH_OPTIONS", {"bad": 1}),
        ("_MAX_PATHSPEC_CHARS", 10**30),
        ("_MAX_PATHSPEC_CHARS", 18002.5),
        ("_MAX_PATHSPEC_CHARS", -1),
        ("TIME_SPEC_FORMS", 5),
        ("GitError", OSError),
        ("subprocess", SimpleNamespace(run=run, TimeoutExpired=FileNotFoundError)),
        ("subprocess", SimpleNamespace(run=run, TimeoutExpired=(OSError, ValueError))),
        ("subprocess", SimpleNamespace(run=run, TimeoutExpired="none")),
        ("subprocess", SimpleNamespace(TimeoutExpired=AttributeError)),
        ("datetime", datetime.fromisoformat),
        ("find_git_root", list),
    ],
)
def test_another_constant_is_used_as_the_statements_would(name: str, value: object) -> None:
    is_same = value in (native._HUNK_HEADER, -1) or getattr(value, "flags", 0) & re.IGNORECASE
    assert_followed(lambda module: setattr(module, name, value), shows=not is_same)


@pytest.mark.parametrize(
    ("name", "key", "value"),
    [
        ("_STATUS_BY_LETTER", "M", "changed"),
        ("_STATUS_BY_LETTER", "X", None),
        ("_STATUS_BY_LETTER", "A", ["added"]),
        ("_C_ESCAPES", "t", "TAB"),
        ("_C_ESCAPES", "\\", ""),
        ("_SPEC_UNITS", "d", "years"),
    ],
)
def test_a_dictionary_changed_in_place_counts_at_once(name: str, key: str, value: object) -> None:
    assert_followed(lambda module: getattr(module, name).update({key: value}))
