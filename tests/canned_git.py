"""What git prints, and replacements for `subprocess.run` that print it without starting git."""

import subprocess
from collections.abc import Callable
from types import SimpleNamespace
from typing import Any

# A stream of raw and numstat records: a modified, a renamed and a binary added file, and one more
# that has no numstat record.
FILE_CHANGES = (
    ":100644 100644 a b M\0a\0"
    ":100644 100644 a b R100\0old\0b\0"
    ":0 100644 0 b A\0c\0"
    ":0 1 0 b X\0d\0"
    "12\t3\ta\0"
    "001\t1\t\0old\0b\0"
    "-\t-\tc\0"
)
LOG = (
    f"\x1e1700000000\0\n{FILE_CHANGES}\0"
    "\x1e1600000000\0\n:1 1 a b M\0x\x00"
    "00\t1\tx\0"
    "\x1e1500000000\0"
)
PATCH = (
    "--- a b\n"
    "+++ a b\t\n"
    "@@ -1 +1,2 @@\n"
    "-x\n"
    "+y\n"
    "+C\n"
    "@@ -7,0 +9 @@ f\n"
    "+x\n"
    "+++ a\n"
    '+++ "\\303\\244\\n%t"\n'
    "@@ -3,2 +2,0 @@\n"
    "-x\n"
    "-y\n"
    "+++ /dev/null\n"
    "@@ -1 +0,0 @@\n"
    "-x\n"
)
# What git prints for a command that contains the word; the first that matches counts.
PRINTED_FOR = {
    "bad": "",
    "log": LOG,
    "--raw": FILE_CHANGES,
    "--literal-pathspecs": PATCH,
    "shortlog": "  3\tAnn <a@b>\n\n no tab\n 1\tBob\n",
    "--count": "3\n",
    "symbolic-ref": "refs/remotes/origin/trunk\n",
}
A_COMMIT = "5ca1ab1e\n"


def run_canned_git(
    command: list[str], stderr: str = " said\n", **_keywords: object
) -> SimpleNamespace:
    """Return what `subprocess.run` would; a launch keyword named `stderr` shows in stderr."""
    if "missing" in command:
        raise FileNotFoundError("git")
    # A list: when memory runs out while a generator is made, CPython 3.13 crashes.
    printed = [text for word, text in PRINTED_FOR.items() if word in command]
    stdout = printed[0] if printed else A_COMMIT
    return SimpleNamespace(stdout=stdout, stderr=stderr, returncode=int("bad" in command))


def raising(error: type[Exception], *args: object) -> Callable[..., None]:
    """A function that raises a new error each time."""

    def raise_error(*_args: object, **_keywords: object) -> None:
        raise error(*args)

    return raise_error


# The ways in which a run of git may end.
LAUNCHERS: dict[str, Callable[..., object]] = {
    "git answers": run_canned_git,
    "git always fails": lambda *_args, **_keywords: run_canned_git(["bad"]),
    "git is never found": raising(FileNotFoundError, "git"),
    "git may not be run": raising(PermissionError, "git"),
    "git takes too long": raising(subprocess.TimeoutExpired, "git", 30),
    "no result": lambda *_args, **_keywords: object(),
}


def subprocess_with(launch: Callable[..., object]) -> dict[str, Any]:
    """The name to rebind in the module so that it starts git that way."""
    return {"subprocess": SimpleNamespace(run=launch, TimeoutExpired=subprocess.TimeoutExpired)}
