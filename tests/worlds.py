"""Sample calls of every function, and Python processes that may well crash."""

import os
import subprocess
import sys
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass, field
from datetime import datetime
from itertools import product
from pathlib import Path
from types import ModuleType, SimpleNamespace
from typing import Any

from compare import Text

MOMENT = datetime(2026, 1, 2, 3, 4, 5)
NOBODY = "/nowhere"
STREAM = (
    ":100644 100644 a b M\0a\0:100644 100644 a b R100\0old\0b\0:0 100644 0 b A\0c\0"
    "12\t3\ta\0001\t1\t\0old\0b\0-\t-\tc\0"
)
LOG = f"\x1e1700000000\0\n{STREAM}\0\x1e1600000000\0\n:1 1 a b M\0x\0000\t1\tx\0"
PATCH = (
    "--- a\n+++ a\n@@ -1 +1,2 @@\n-x\n+y\n+z\n@@ -7,0 +9 @@ f\n+++ x\n"
    '+++ "\\303\\244\\n"\n@@ -3,2 +2,0 @@\n-x\n-y\n+++ /dev/null\n@@ -1 +0,0 @@\n-x\n'
)


@dataclass(frozen=True)
class Call:
    """One call of a function, and what module attributes are rebound to meanwhile."""

    name: str
    args: tuple[Any, ...]
    kwargs: dict[str, Any] = field(default_factory=dict)
    world: dict[str, Any] = field(default_factory=dict)


@contextmanager
def rebound(module: ModuleType, world: dict[str, Any]) -> Iterator[None]:
    """Module attributes rebound for a while; one that is rebound to `...` is missing."""
    before = {name: getattr(module, name) for name in world}
    for name, value in world.items():
        if value is ...:
            delattr(module, name)
        else:
            setattr(module, name, value)
    try:
        yield
    finally:
        vars(module).update(before)


def answer(module: ModuleType, call: Call) -> str:
    """What the call gives or raises."""
    try:
        return repr(getattr(module, call.name)(*call.args, **call.kwargs))
    except Exception as error:
        return describe(error)


def describe(error: Exception) -> str:
    """An error as an answer."""
    return f"{type(error).__name__}: {error}"


def _wide(text: str) -> Iterator[str]:
    """The same content in the three widths that the interpreter stores text in, and as a Text."""
    yield from (text, text.replace("a", "\u1234"), text.replace("a", "\U0001f600"), Text(text))


def _raises(error: Exception) -> SimpleNamespace:
    def run(*_args: object, **_kwargs: object) -> None:
        raise type(error)(*error.args)

    return SimpleNamespace(run=run, TimeoutExpired=subprocess.TimeoutExpired)


def _prints(stdout: str, code: int = 0) -> SimpleNamespace:
    def run(*_args: object, **_kwargs: object) -> SimpleNamespace:
        return SimpleNamespace(stdout=stdout, stderr=" a complaint\n", returncode=code)

    return SimpleNamespace(run=run, TimeoutExpired=subprocess.TimeoutExpired)


# Each function that asks git: what it is called with behind the root, and what git may print.
QUESTIONS: list[tuple[str, tuple[Any, ...], dict[str, Any], str]] = [
    ("resolve_display_branch", (), {}, "main\n"),
    ("run_git_command", (["version"],), {}, "words\n"),
    ("_git_output", (["version"],), {}, "words\n"),
    ("get_head_commit", (), {}, "5ca1ab1e\n"),
    ("get_default_branch", (), {}, "refs/remotes/origin/trunk\n"),
    ("branch_exists", ("main",), {}, ""),
    ("get_authors_for_period", ("7d",), {}, "  3\tAnn <a@b>\n no tab\n 1\tBob\n"),
    ("resolve_commit", ("main",), {}, "5ca1ab1e\n"),
    ("count_commits", ("main", "HEAD"), {}, "3\n"),
    ("commit_before", ("HEAD", MOMENT), {}, "5ca1ab1e\n"),
    ("diff_file_changes", ("main", "HEAD"), {}, STREAM),
    ("log_commit_changes", (), {"since": MOMENT, "ref": "HEAD", "max_commits": 9}, LOG),
    ("diff_line_spans", ("main", "HEAD"), {"merge_base": True, "paths": ["a"]}, PATCH),
]

_NOW = SimpleNamespace(now=lambda: MOMENT, fromisoformat=datetime.fromisoformat)
_SAMPLES: dict[str, list[Any]] = {
    "parse_file_changes": [
        *_wide(STREAM),
        ":1 1 a b M\0z\0:1 1 a b M\0a\0",
        ":\0a\0\u0661\t2\ta\0",
        f":\0a\0{'9' * 5000}\t2\ta\0",
        5,
    ],
    "parse_commit_changes": [*_wide(LOG), "\x1e 5 \0", "\x1ex\0", "\x1e5\0z\ta\tb\0", 5],
    "parse_line_spans": [
        *_wide(PATCH),
        "+++ a\n@@ -\u0661 +2 @@\n",
        f"+++ a\n@@ -1,{'9' * 40} +2 @@\n",
        f"+++ a\n@@ -1 +{'9' * 5000} @@\n",
        '+++ "\\777"\n',
        5,
    ],
    "_file_changes": [STREAM.split("\0"), (), [5], 5],
    "_line_count": ["12", "-", Text("3"), "\u0663", "9" * 5000, 5],
    "_patch_path": ["a b\t", '"\\303\\244"', '"\\q"', "/dev/null", Text('"x"'), 5],
    "_unquote": [*_wide("a\\303\\244\\n\\q\\"), "\\777", "\ud800", "\\\ud800", 5],
    "_path_batches": [["a" * 9000] * 3, {"a": 1}, [Text("a" * 9000)] * 3, [5], 5],
    "normalize_branch_name": [*_wide(" origin/refs/heads/a "), Text("remotes/x"), "", None, 5],
    "sanitize_branch_name": [*_wide("a/b\\c d"), "", 5],
    "parse_time_spec": [
        *("7d", " 2026-01-02 ", "2026-01-02T03:04:05+02:00", "0d", "x", 5),
        *("9999999w", "9" * 5000 + "d", Text("7d")),
    ],
    "wiki_root": [Path(NOBODY), 5],
    "find_git_root": [Path(NOBODY), None, 5],
}

PURE_CALLS = [
    *(
        Call(name, (arg,), {}, {"datetime": _NOW})
        for name, args in _SAMPLES.items()
        for arg in args
    ),
    *(Call("_span", args) for args in [(4, 2, 0), (0, 0, 3), (5, 1, 1), ("x", 0, 0), (1, None, 0)]),
    *(Call("wiki_directory", (root, "a/b")) for root in (Path(NOBODY), 5)),
    Call("find_repo_root", ()),
]
_OUTCOMES = [
    _prints,
    lambda _: _prints("", 128),
    lambda _: _raises(subprocess.TimeoutExpired("git", 30)),
    lambda _: _raises(FileNotFoundError("git")),
    lambda _: _raises(PermissionError("git")),
    lambda _: SimpleNamespace(run=lambda *_args, **_kwargs: object()),
]
# With attributes of the module rebound: what native code may no longer do by itself.
REBOUND_CALLS = [
    *(
        Call(name, (Path(NOBODY), *args), kwargs, {"subprocess": outcome(output)})
        for (name, args, kwargs, output), outcome in product(QUESTIONS, _OUTCOMES)
    ),
    Call("run_git_command", (NOBODY, ("a tuple",))),
    Call("run_git_command", (NOBODY, []), {}, {"get_subprocess_hidden_kwargs": lambda: {"cwd": 1}}),
    Call("run_git_command", (NOBODY, []), {}, {"get_subprocess_hidden_kwargs": lambda: 5}),
    Call("_git_output", (NOBODY, []), {}, {"run_git_command": lambda *_: ("too", "few")}),
    Call("parse_line_spans", (PATCH,), {}, {"_span": lambda *counts: counts}),
    Call("parse_line_spans", (PATCH,), {}, {"_patch_path": ...}),
    Call("parse_line_spans", (PATCH,), {}, {"LineSpan": lambda *fields: fields}),
    Call("parse_file_changes", (STREAM,), {}, {"FileChange": ...}),
    Call("parse_file_changes", (STREAM,), {}, {"_line_count": int}),
    Call("parse_commit_changes", (LOG,), {}, {"CommitChanges": lambda *fields: fields}),
    Call("_unquote", ("\\n",), {}, {"_C_ESCAPES": {"n": 5}}),
    Call("parse_time_spec", ("7d",), {}, {"timedelta": 5}),
]


def shared_objects(module: ModuleType, call: Call) -> list[Any]:
    """What many calls have in common and none may keep: the namespace, natives, the arguments."""
    natives = [each.__closure__[0].cell_contents for each in functions(module)]
    state = natives[0].__self__
    parts = [part for arg in call.args if isinstance(arg, list | tuple | dict) for part in arg]
    return [*vars(module).values(), *natives, state, type(state), *call.args, *parts]


def functions(module: ModuleType) -> list[Any]:
    """The module's own functions."""
    own = (each for each in vars(module).values() if callable(each))
    return [each for each in own if getattr(each, "__closure__", None)]


def python(*args: str, **popen: Any) -> subprocess.Popen[str]:
    """Start a Python process that finds what this one finds; its output is captured."""
    command = [sys.executable, "-X", "faulthandler", "-W", "error", *args]
    environment = os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)}
    pipe = subprocess.PIPE
    return subprocess.Popen(command, env=environment, stdout=pipe, stderr=pipe, text=True, **popen)


def run_python(*args: str, **popen: Any) -> str:
    """What such a process prints; that it ends well is asserted."""
    with python(*args, **popen) as process:
        stdout, stderr = process.communicate()
    assert process.returncode == 0, f"status {process.returncode}\n{stdout[-500:]}\n{stderr}"
    return stdout
