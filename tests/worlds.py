"""How each function is called, what git prints to it, and Python processes that may well crash."""

import os
import subprocess
import sys
from collections.abc import Callable, Iterator, Mapping
from itertools import product
from pathlib import Path
from types import MappingProxyType, ModuleType, SimpleNamespace
from typing import Any, NamedTuple

from compare import NOW, StoppedClock, Text, outcome

ROOT = Path("/nowhere")
STREAM = (
    ":100644 100644 a b M\0a\0:100644 100644 a b R100\0old\0b\0:0 100644 0 b A\0c\0:0 1 0 b X\0d\0"
    "12\t3\ta\0001\t1\t\0old\0b\0-\t-\tc\0"
)
TOKENS = STREAM.split("\0")
LOG = f"\x1e1700000000\0\n{STREAM}\0\x1e1600000000\0\n:1 1 a b M\0x\0000\t1\tx\0\x1e1500000000\0"
PATCH = (
    "--- a b\n+++ a b\t\n@@ -1 +1,2 @@\n-x\n+y\n+C\n@@ -7,0 +9 @@ f\n+x\n+++ a\n"
    '+++ "\\303\\244\\n%t"\n@@ -3,2 +2,0 @@\n-x\n-y\n+++ /dev/null\n@@ -1 +0,0 @@\n-x\n'
)
# By a word of its command.
PRINTED = {
    "bad": "",
    "log": LOG,
    "--raw": STREAM,
    "--literal-pathspecs": PATCH,
    "shortlog": "  3\tAnn <a@b>\n\n no tab\n 1\tBob\n",
    "--count": "3\n",
    "symbolic-ref": "refs/remotes/origin/trunk\n",
}
PROCESS_LIMIT = 300  # seconds; under any load a process needs a tenth of it


class Call(NamedTuple):
    """One call of a function, and what module attributes are rebound to meanwhile."""

    name: str
    args: tuple[Any, ...]
    kwargs: Mapping[str, Any] = MappingProxyType({})
    world: Mapping[str, Any] = MappingProxyType({})


def answer(module: ModuleType, call: Call) -> object:
    """What the call gives or raises."""
    return outcome(getattr(module, call.name), *call.args, **call.kwargs)


def run(command: list[str], said: str = " said\n", **_keywords: object) -> SimpleNamespace:
    """Answer as git would; without a generator, which crashes CPython 3.13 if memory fails it."""
    if "missing" in command:
        raise FileNotFoundError("git")
    texts = [text for word, text in PRINTED.items() if word in command]
    printed = texts[0] if texts else "5ca1ab1e\n"
    return SimpleNamespace(stdout=printed, stderr=said, returncode=int("bad" in command))


def _raises(error: Exception) -> Callable[..., None]:
    def run(*_args: object, **_kwargs: object) -> None:
        raise type(error)(*error.args)

    return run


def launcher(run: Callable[..., object]) -> dict[str, Any]:
    """The world in which git is run that way."""
    return {"subprocess": SimpleNamespace(run=run, TimeoutExpired=subprocess.TimeoutExpired)}


def _wide(text: str) -> Iterator[str]:
    """The same content in the three widths that the interpreter stores text in, and as a Text."""
    yield from (text, text.replace("a", "\u1234"), text.replace("a", "\U0001f600"), Text(text))


def odd(kind: type, *args: object, **methods: Callable[..., object]) -> Any:
    """What the arguments make of the class, but with methods of its own."""
    return type(kind.__name__, (kind,), methods)(*args)


_LONG = odd(Text, "a", __len__=lambda _: 9000)  # it says so of itself
# What a loop over the one iterator goes over is not what the iterator gives.
_ITERATOR = odd(object, __iter__=lambda _: iter([":R", ":M"]), __next__=lambda _: "next")
_TOKENS = odd(object, __iter__=lambda _: _ITERATOR)
_WHOLE: Any = lambda text, *_: text  # noqa: E731
_HEADER = odd(str, "\x1e", strip=lambda _: None, lstrip=_WHOLE, __getitem__=_WHOLE)
_OUTPUT = odd(object, split=lambda *_: [_HEADER, "lost", "\x1e5"])
_HUGE = "9" * 20
_ESCAPED = ["\\3\u06633", "\\777", "\\038", "\\n\ud800", "\\\udfff"]
_EDGES = "\x7f\x80\u07ff\u0800\uffff\U00010000"
_TEXTS: dict[str, list[Any]] = {
    "parse_file_changes": [
        *_wide(STREAM),
        STREAM + STREAM,
        f":\0a\0{'9' * 5000}\t2\ta\0",
        ":1 M\0a\0:1 A\0b\0\u0661\t2\ta\0",
    ],
    "parse_commit_changes": [*_wide(LOG), f"C{LOG}\x1e 6 \0C7", "\x1e5\0\x1e6x\0", _OUTPUT],
    "parse_line_spans": [
        *_wide(PATCH),
        "+++ a\n@@ -1, +1 @@\n@@ -1 +1 @@\n-\n+\n@@ -\u0661 +2 @@\n",
        f"+++ a\n@@ -1,-{_HUGE} +1 @@\n+x\n+++ b\n@@ -1 +2,-1 @@\n@@ -3 +4,{_HUGE} @@\n+++ c",
        f"+++ a\n@@ -1,{_HUGE} +2 @@\n",
        f"+++ a\n@@ -1 +{'9' * 5000} @@\n",
        '+++ "\\777"\n',
    ],
    "_file_changes": [TOKENS, (), [5], {":M": 1, "a": 2}, [b":M"], _TOKENS],
    "_line_count": ["12", "-", Text("3"), "\u0663", "9" * 5000],
    "_patch_path": ["a b\t", '"\\303\\244\\t"', "/dev/null", '"', Text('"x"'), b'"a"'],
    "_unquote": [*_wide("a\\303\\244\\n%t\\t\\q\\\\"), *_ESCAPED, _EDGES],
    "_path_batches": [
        *(["a" * 9000] * 3, ("é" * 7999,) * 3, ["a" * 20000, "b"], ["a", "b" * 20000], "ab"),
        *([_LONG] * 3, {"a" * 9000: 0, "b" * 9000: 0, "c" * 6998: 0}, ["a" * 16000, (1, 2)], [5]),
    ],
    "normalize_branch_name": [
        *_wide("\x85 origin/refs/heads/remotes/refs/remotes/ a\u3000"),
        *("origin/", "refs/heads/x/origin/", "", None),
    ],
    "sanitize_branch_name": [*_wide("a/b\\c d"), "/²" * 60, "é" * 99 + "/-", "日" * 101, _EDGES],
    "parse_time_spec": [
        *("7d", " 2026-01-02 ", "2026-01-02T03:04:05+02:00", "soon", Text("7d"), "739318d"),
        *("", " 0d", "7", "7D", "1.5h", "\u0660\u0660w", "²d", "9" * 400 + "m", "it's \"\ud800"),
    ],
    "wiki_root": [ROOT],
    "find_git_root": [ROOT, None, "a"],
}
# Calls that ask no git.
PURE_CALLS = [
    *(Call(name, (arg,)) for name, args in _TEXTS.items() for arg in [*args, 5]),
    *(Call("_span", args) for args in [(4, 2, 0), (0, 0, 3), (5, 1, 1), ("x", 0, 0), (1, None, 0)]),
    *(Call("wiki_directory", (root, "a/b")) for root in (ROOT, 5)),
    Call("find_repo_root", ()),
]
# Calls that ask git, the repository first.
QUESTIONS = [
    *(Call("run_git_command", (ROOT, [word])) for word in ("version", "bad", "missing")),
    *(Call("_git_output", (ROOT, [word])) for word in ("version", "bad", "missing")),
    *(Call("branch_exists", (ROOT, name)) for name in ("main", "bad")),
    Call("resolve_display_branch", (ROOT,)),
    Call("get_head_commit", (ROOT,)),
    Call("get_default_branch", (ROOT,)),
    Call("get_authors_for_period", (ROOT, "7d")),
    Call("resolve_commit", (ROOT, "main")),
    Call("count_commits", (ROOT, "main", "HEAD")),
    Call("commit_before", (ROOT, "HEAD", NOW)),
    Call("diff_file_changes", (ROOT, "main", "HEAD")),
    Call("log_commit_changes", (ROOT,), {"since": NOW, "ref": "HEAD", "max_commits": 9}),
    Call("diff_line_spans", (ROOT, "main", "HEAD"), {"merge_base": True, "paths": ["a"]}),
]
CALLS = PURE_CALLS + QUESTIONS
_ENDS = [FileNotFoundError("git"), PermissionError("git"), subprocess.TimeoutExpired("git", 30)]
_LAUNCHERS = [run, lambda *_, **__: run(["bad"]), *map(_raises, _ENDS), lambda *_, **__: object()]
# The same while attributes of the module are rebound, which native code may not pass over.
WORLDLY_CALLS = [
    *(Call(each.name, each.args, each.kwargs, {"datetime": StoppedClock}) for each in PURE_CALLS),
    *(
        Call(each.name, each.args, each.kwargs, launcher(way))
        for each, way in product(QUESTIONS, _LAUNCHERS)
    ),
    Call("run_git_command", (ROOT, [1]), {}, {"get_subprocess_hidden_kwargs": lambda: {"cwd": 1}}),
    Call("_git_output", (ROOT, []), {}, {"run_git_command": lambda *_: ("too", "few")}),
    Call("parse_line_spans", (PATCH,), {}, {"_span": lambda *counts: counts}),
    Call("parse_file_changes", (STREAM,), {}, {"FileChange": 5}),
    Call("parse_commit_changes", (LOG,), {}, {"CommitChanges": lambda *fields: fields}),
    Call("_unquote", ("\\n",), {}, {"_C_ESCAPES": {"n": 5}}),
]


def run_python(*args: str) -> str:
    """What a Python process prints that finds what this one finds; it has to end well."""
    command = [sys.executable, "-X", "faulthandler", "-W", "error", *args]
    environment = os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)}
    run = subprocess.run(
        command, env=environment, capture_output=True, text=True, timeout=PROCESS_LIMIT
    )
    assert run.returncode == 0, f"status {run.returncode}\n{run.stdout[-500:]}\n{run.stderr}"
    return run.stdout
