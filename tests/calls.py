"""How each function is called: the one table of calls that many tests repeat.

They repeat them with names rebound or deleted, in threads and sub-interpreters, and while memory
runs out. The order in which objects are used is checked for one call of each function, the first in
the table. A new function needs a row here.
"""

from collections.abc import Iterator, Mapping
from pathlib import Path
from types import MappingProxyType, ModuleType
from typing import Any, NamedTuple

from canned_git import FILE_CHANGES, LAUNCHERS, LOG, PATCH, subprocess_with
from compare import NOW, StoppedClock, StrSubclass, outcome
from odd_objects import LogOfOddHeader, LongPath, OddTokens, VagueCount

ROOT = Path("/nowhere")


class Call(NamedTuple):
    """One call of a function, and the names of the module that are rebound for it."""

    title: str
    name: str
    args: tuple[Any, ...] = ()
    keywords: Mapping[str, Any] = MappingProxyType({})
    rebound: Mapping[str, Any] = MappingProxyType({})


def outcome_of(module: ModuleType, call: Call) -> object:
    """What the call returns or raises."""
    return outcome(getattr(module, call.name), *call.args, **call.keywords)


def in_every_storage(title: str, text: str) -> Iterator[tuple[str, str]]:
    """The same content as str objects of one, two and four bytes a character, and as a subclass."""
    yield title, text
    yield f"{title}, two bytes a character", text.replace("a", "\u1234")
    yield f"{title}, four bytes a character", text.replace("a", "\U0001f600")
    yield f"{title}, a subclass of str", StrSubclass(text)


# Characters around the limits of UTF-8's lengths and of the three storage widths.
EDGE_CHARACTERS = "\x7f\x80\u07ff\u0800\uffff\U00010000"
TWENTY_DIGITS = "9" * 20
# int() refuses more than 4300 digits.
TOO_MANY_DIGITS = "9" * 5000

# For each function of one argument that runs no git: arguments, each with a title.
ARGUMENTS: dict[str, dict[str, Any]] = {
    "parse_file_changes": {
        **dict(in_every_storage("records", FILE_CHANGES)),
        "a count of too many digits": f":\0a\0{TOO_MANY_DIGITS}\t2\ta\0",
        "descending paths and a digit beyond ASCII": ":1 M\0a\0:1 A\0b\0\u0661\t2\ta\0",
    },
    "parse_commit_changes": {
        **dict(in_every_storage("commits", LOG)),
        "tokens before a timestamp with blanks": f"C{LOG}\x1e 6 \0C7",
        "a timestamp that is not a number": "\x1e5\0\x1e6x\0",
        "an empty timestamp": "\x1e\0:1 M\0a\0",
        "a timestamp that is None": LogOfOddHeader(),
    },
    "parse_line_spans": {
        **dict(in_every_storage("hunks", PATCH)),
        "malformed headers": "+++ a\n@@ -1, +1 @@\n@@ -1 +1 @@\n-\n+\n@@ -\u0661 +2 @@\n",
        "negative and huge counts": (
            f"+++ a\n@@ -1,-{TWENTY_DIGITS} +1 @@\n+x\n+++ b\n@@ -1 +2,-1 @@\n"
            f"@@ -3 +4,{TWENTY_DIGITS} @@\n+++ c"
        ),
        "a huge old count": f"+++ a\n@@ -1,{TWENTY_DIGITS} +2 @@\n",
        "a start of too many digits": f"+++ a\n@@ -1 +{TOO_MANY_DIGITS} @@\n",
        "an octal escape above a byte": '+++ "\\777"\n',
        "a backslash at the end of a quoted name": '+++ "a\\"\n@@ -1 +1 @@\n',
        "escapes that are nearly octal": '+++ "\\038\\3\u06633"\n@@ -1 +1 @@\n',
        "edge characters in a quoted name": f'+++ "{EDGE_CHARACTERS}"\n@@ -1 +1 @@\n',
        "the first surrogate in a quoted name": '+++ "\ud800"\n',
        "the last surrogate in a quoted name": '+++ "\udfff"\n',
    },
    "_file_changes": {
        "tokens": FILE_CHANGES.split("\0"),
        "no tokens": (),
        "a token that is a number": [5],
        "a dict of tokens": {":M": 1, "a": 2},
        "a token of bytes": [b":M"],
        "an iterator that is odd": OddTokens(),
    },
    "_line_count": {
        "a number": "12",
        "the dash of a binary file": "-",
        "a digit beyond ASCII": "\u0663",
        "too many digits": TOO_MANY_DIGITS,
    },
    "_patch_path": {
        "a name with a blank": "a b\t",
        "a quoted name": '"\\303\\244\\t"',
        "no file": "/dev/null",
        "one quote": '"',
        "bytes": b'"a"',
    },
    "_unquote": {
        "escapes": "a\\303\\244\\n%t\\t\\q\\\\",
        "a lone surrogate": "\\n\ud800",
    },
    "_path_batches": {
        "three that need a batch each": ["a" * 9000] * 3,
        "three, of which two fill a batch exactly": ("é" * 7999,) * 3,
        "a path beyond the limit, first": ["a" * 20000, "b"],
        "a path beyond the limit, second": ["a", "b" * 20000],
        "paths with a length of their own": [LongPath("a")] * 3,
        "a dict, whose last two keys fill a batch": {"a" * 9000: 0, "b" * 9000: 0, "c" * 6998: 0},
        "a path that is a tuple": ["a" * 16000, (1, 2)],
    },
    "normalize_branch_name": {
        **dict(
            in_every_storage("prefixes", "\x85 origin/refs/heads/remotes/refs/remotes/ a\u3000 ")
        ),
        "a prefix only": "origin/",
        "a prefix at the end": "refs/heads/x/origin/",
        "empty": "",
        "None": None,
    },
    "sanitize_branch_name": {
        **dict(in_every_storage("slashes and a blank", "a/b\\c d")),
        "slashes beyond the limit": "/²" * 60,
        "a slash at the limit": "é" * 99 + "/-",
        "letters beyond the limit": "日" * 101,
        "edge characters": EDGE_CHARACTERS,
    },
    "parse_time_spec": {
        "days": "7d",
        "a date with blanks": " 2026-01-02 ",
        "a moment with an offset": "2026-01-02T03:04:05+02:00",
        "a word": "soon",
        "before the calendar": "739318d",
        "empty": "",
        "zero": " 0d",
        "too large for a timedelta": "9" * 400 + "m",
        "quotes and a surrogate": "it's \"\ud800",
    },
    "wiki_root": {"a path": ROOT},
    "find_git_root": {"a path": ROOT, "None": None, "a str": "a"},
}
PURE_CALLS = [
    *(
        Call(title, name, (argument,))
        for name, arguments in ARGUMENTS.items()
        for title, argument in arguments.items()
    ),
    *(Call("a number", name, (5,)) for name in ARGUMENTS),
    Call("added lines", "_span", (4, 2, 0)),
    Call("removed from the top", "_span", (0, 0, 3)),
    Call("one line replaced", "_span", (5, 1, 1)),
    Call("a str", "_span", ("x", 0, 0)),
    Call("None", "_span", (1, None, 0)),
    Call("a count that answers == with a str", "_span", (1, 1, VagueCount())),
    Call("a path", "wiki_directory", (ROOT, "a/b")),
    Call("a number", "wiki_directory", (5, "a/b")),
    Call("no argument", "find_repo_root"),
]

# Calls that run git; the first argument is the repository.
QUERY_CALLS = [
    Call("git answers", "run_git_command", (ROOT, ["version"])),
    Call("git fails", "run_git_command", (ROOT, ["bad"])),
    Call("git is missing", "run_git_command", (ROOT, ["missing"])),
    Call("a tuple of arguments", "run_git_command", (ROOT, ("version",))),
    Call("git answers", "_git_output", (ROOT, ["version"])),
    Call("git fails", "_git_output", (ROOT, ["bad"])),
    Call("git is missing", "_git_output", (ROOT, ["missing"])),
    Call("a branch", "branch_exists", (ROOT, "main")),
    Call("no branch", "branch_exists", (ROOT, "bad")),
    Call("a repository", "resolve_display_branch", (ROOT,)),
    Call("a repository", "get_head_commit", (ROOT,)),
    Call("a repository", "get_default_branch", (ROOT,)),
    Call("a week", "get_authors_for_period", (ROOT, "7d")),
    Call("a branch", "resolve_commit", (ROOT, "main")),
    Call("two revisions", "count_commits", (ROOT, "main", "HEAD")),
    Call("a moment", "commit_before", (ROOT, "HEAD", NOW)),
    Call("two revisions", "diff_file_changes", (ROOT, "main", "HEAD")),
    Call(
        "a period",
        "log_commit_changes",
        (ROOT,),
        {"since": NOW, "ref": "HEAD", "max_commits": 9},
    ),
    Call(
        "one path", "diff_line_spans", (ROOT, "main", "HEAD"), {"merge_base": True, "paths": ["a"]}
    ),
]
CALLS = PURE_CALLS + QUERY_CALLS

# The calls with git and the clock replaced, and some with another name rebound, each of which makes
# a function leave its fast path or fail half-way.
CALLS_WITH_REBOUND_NAMES = [
    *(call._replace(rebound={"datetime": StoppedClock}) for call in PURE_CALLS),
    *(
        call._replace(title=f"{call.title}, {ending}", rebound=subprocess_with(launch))
        for call in QUERY_CALLS
        for ending, launch in LAUNCHERS.items()
    ),
    Call(
        "a launch keyword twice",
        "run_git_command",
        (ROOT, [1]),
        rebound={"get_subprocess_hidden_kwargs": lambda: {"cwd": 1}},
    ),
    Call(
        "a result of two values",
        "_git_output",
        (ROOT, []),
        rebound={"run_git_command": lambda *_: ("too", "few")},
    ),
    Call("another span", "parse_line_spans", (PATCH,), rebound={"_span": lambda *counts: counts}),
    Call("no class", "parse_file_changes", (FILE_CHANGES,), rebound={"FileChange": 5}),
    Call(
        "another record",
        "parse_commit_changes",
        (LOG,),
        rebound={"CommitChanges": lambda *fields: fields},
    ),
    Call("an escape without text", "_unquote", ("\\n",), rebound={"_C_ESCAPES": {"n": 5}}),
]
