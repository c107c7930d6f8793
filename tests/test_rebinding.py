"""Whatever is bound to a module-level name is used from then on, as in a module of plain Python.

Each test changes fresh copies of both modules alike and compares what they answer from then on.
"""

import re
from collections.abc import Callable
from dataclasses import fields, make_dataclass
from datetime import datetime
from pathlib import Path
from types import FunctionType, ModuleType, SimpleNamespace
from typing import Any

import pytest
from compare import NOW, StoppedClock, load_copy, native, outcome, plain

type Change = Callable[[ModuleType], object]

NAMES = [name for name in vars(plain) if not name.startswith("__")]
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
}
CALLS: dict[str, list[tuple[object, ...]]] = {
    "parse_line_spans": [(PATCH,), (f"{PATCH}\n中",)],
    "parse_file_changes": [(DIFF,), (DIFF + DIFF,)],
    "parse_commit_changes": [(LOG,), (f"C{LOG}\x1e 6 \0C7",)],
    "_file_changes": [(TOKENS,)],
    "_unquote": [("\\t\\\\\\303\\251%t",)],
    "_patch_path": [('"\\t"',)],
    "_line_count": [("12",)],
    "_span": [(1, 2, 0), (0, 0, 1)],
    "_path_batches": [(["a" * 9000, "b" * 9000],)],
    "parse_time_spec": [("7d",), ("2026-09-01T00:00:00Z",), ("soon",)],
    "wiki_directory": [(Path("r"), "a/b")],
    "normalize_branch_name": [("origin/x",)],
    "commit_before": [("r", "a", NOW)],
    "run_git_command": [("r", ["x"])],
    "_git_output": [("r", ["bad"]), ("r", ["missing"])],
}
ALIKE: dict[tuple[object, ...], list[str]] = {
    (): ["find_git_root", "find_repo_root"],
    ("r",): ["resolve_display_branch", "get_head_commit", "get_default_branch"],
    ("r", "bad"): ["branch_exists", "resolve_commit"],
    ("r", "a", "b"): ["count_commits", "diff_file_changes", "diff_line_spans"],
}
ALIKE["r",] += ["get_authors_for_period", "log_commit_changes"]
CALLS |= {name: [args] for args, names in ALIKE.items() for name in names}
KEYWORDS: dict[str, dict[str, object]] = {
    "log_commit_changes": {"since": NOW, "ref": None, "max_commits": 1},
    "diff_line_spans": {"merge_base": True, "paths": ["x", "y"]},
}


def run(command: list[str], **_keywords: object) -> SimpleNamespace:
    """Answer as git would."""
    if "missing" in command:
        raise FileNotFoundError("git")
    printed = next((text for key, text in PRINTED.items() if key in command), "def\n")
    return SimpleNamespace(stdout=printed, stderr="said", returncode=int("bad" in command))


def answers_after(module: ModuleType, change: Change) -> dict[str, list[Any]]:
    """Change a copy of the module and take down what it answers to the calls."""
    copy = load_copy(module, "copied.git_utils")
    copy.datetime = StoppedClock
    copy.subprocess = SimpleNamespace(run=run, TimeoutExpired=TimeoutError)
    change(copy)

    def answer(name: str, args: tuple[object, ...]) -> Any:
        return outcome(lambda: getattr(copy, name)(*args, **KEYWORDS.get(name, {})))

    return {name: [answer(name, args) for args in each] for name, each in CALLS.items()}


def assert_followed(change: Change, *, shows: bool = True) -> None:
    """Both modules follow the change, and that makes a difference."""
    expected = answers_after(plain, change)
    assert answers_after(native, change) == expected
    assert (expected != answers_after(plain, id)) == shows


def replace(module: ModuleType, name: str) -> None:
    """Bind the name to a function that tells its arguments."""
    told = lambda *args, **keywords: (name, repr(args), repr(keywords))  # noqa: E731
    setattr(module, name, told)


def recode(module: ModuleType, name: str) -> None:
    """Give the function the code of one that tells its arguments."""
    function, cell = getattr(module, name), "of a native function"
    closed, free = lambda *args: cell and repr(args), lambda *args: repr(args)
    function.__code__ = (closed if function.__closure__ else free).__code__


FUNCTIONS = [name for name in NAMES if getattr(plain, name).__class__ is FunctionType]
CHANGES: dict[Callable[[ModuleType, str], object], list[str]] = {
    delattr: NAMES,
    lambda module, name: setattr(module, name, None): NAMES,
    replace: [name for name in NAMES if callable(getattr(native, name))],
    recode: [name for name in FUNCTIONS if name not in IMPORTED],
}


@pytest.mark.parametrize(
    ("change", "name"), [(change, name) for change, names in CHANGES.items() for name in names]
)
def test_what_becomes_of_a_name_shows_wherever_it_is_used(
    change: Callable[[ModuleType, str], object], name: str
) -> None:
    assert_followed(lambda module: change(module, name), shows=name not in UNUSED)


def swapped(record: Any) -> FunctionType:
    """A constructor that takes the first two fields in the other order."""
    first, second, *rest = ((each.name, each.type, each) for each in fields(record))
    return make_dataclass("Other", [second[:2], first[:2], *rest], frozen=True).__init__


PATCHES: dict[str, Callable[[Any], object]] = {
    "constructor": lambda record: setattr(record, "__init__", swapped(record)),
    "its code": lambda record: setattr(record.__init__, "__code__", swapped(record).__code__),
    "allocator": lambda record: setattr(record, "__new__", lambda *args: repr(args)),
    "property": lambda record: setattr(record, fields(record)[0].name, property(repr)),
}


@pytest.mark.parametrize("name", ["FileChange", "CommitChanges", "LineSpan"])
@pytest.mark.parametrize("patch", PATCHES)
def test_a_patched_record_class_makes_patched_records(name: str, patch: str) -> None:
    assert_followed(lambda module: PATCHES[patch](getattr(module, name)))


class Quiet(dict):
    """A dictionary whose `get` has its own mind."""

    def get(self, key: str, _default: object = None) -> object:
        return f"<{key}>"


SAME = re.compile(native._HUNK_HEADER.pattern, re.ASCII | re.IGNORECASE)
OTHERS: dict[str, list[object]] = {
    "_HUNK_HEADER": [re.compile(r"@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@ f"), SAME],
    "_C_ESCAPE": [re.compile("%([0-7]{3}|.)")],
    "_RELATIVE_SPEC": [re.compile("(so)(on)"), re.compile("([0-9])([a-z])")],
    "_SPEC_UNITS": [{"d": "hours"}, {"d": 5}, {"d": "years"}],
    "_STATUS_BY_LETTER": [{"M": 5, "X": None, "A": ["added"]}, Quiet()],
    "_C_ESCAPES": [{"t": "中", "\\": ""}, {"t": b"t"}, {"t": "\ud800"}, Quiet()],
    "_TWO_PATH_LETTERS": [{"M"}, "MR"],
    "_COMMIT_START": ["C", ("C", "\x1e")],
    "_PATCH_OPTIONS": [["log"], {"bad": 1}],
    "_MAX_PATHSPEC_CHARS": [10**30, 18002.5, "none"],
    "TIME_SPEC_FORMS": [5],
    "subprocess": [SimpleNamespace(run=run, TimeoutExpired=(OSError, ValueError))],
    "datetime": [datetime.fromisoformat],
}


@pytest.mark.parametrize(("name", "value"), [(name, v) for name in OTHERS for v in OTHERS[name]])
def test_another_object_is_used_as_the_statements_would(name: str, value: object) -> None:
    assert_followed(lambda module: setattr(module, name, value), shows=value is not SAME)
