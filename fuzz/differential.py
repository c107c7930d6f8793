"""Decodes a fuzz input into a function and its arguments, and compares the two modules' answers.

The first byte chooses the function. The second chooses how the text is stored (in one, two or four
bytes a character), and whether it is a plain `str`, which the fast paths read, or of a subclass,
which is left to the fallbacks. The rest is the text in Latin-1, except for sixteen bytes that stand
for characters beyond Latin-1.
"""

import sys
from collections.abc import Callable
from typing import Any

from compare import StoppedClock, StrSubclass, assert_alike, native, plain

# Lone surrogates; digits beyond ASCII; wide characters that, if narrowed to a byte, would be a
# digit, a line feed, NUL, a tab, ":", U+001E, "+" or "@"; a line separator; ordinary characters.
EXOTIC = dict(
    enumerate(
        "\ud800\udcff\u0663\uff11\u0130\u010a\u0100\u0109\u013a\u011e\u012b\u0140\u2028"
        "\u4e2d\U0001d7db\U0001f600",
        start=0xF0,
    )
)
# Appended, they make Python store the whole text wider; narrowed to a byte, each would be a "0".
WIDENERS = ("", "\u0130", "\U00010330")


def as_text(text: str) -> tuple[Any, ...]:
    """Returns the text as the only argument."""
    return (text,)


def as_tokens(text: str) -> tuple[Any, ...]:
    """Returns the parts of the text between NULs as the only argument."""
    return (text.split("\0"),)


def as_output(*arguments: str) -> Callable[[str], tuple[Any, ...]]:
    """Returns fixed arguments: the text is what git prints when the function runs it."""
    return lambda _text: ("root", *arguments)


# How the text becomes the arguments of each function.
FUNCTIONS: dict[str, Callable[[str], tuple[Any, ...]]] = {
    "parse_line_spans": as_text,
    "parse_file_changes": as_text,
    "parse_commit_changes": as_text,
    "_file_changes": as_tokens,
    "_line_count": as_text,
    "_patch_path": as_text,
    "_unquote": as_text,
    "_path_batches": as_tokens,
    "parse_time_spec": as_text,
    "normalize_branch_name": as_text,
    "sanitize_branch_name": as_text,
    "count_commits": as_output("base", "head"),
    "get_authors_for_period": as_output("7d"),
}
NAMES = tuple(FUNCTIONS)

# The bytes before the text: for the function and for the variant.
HEAD = 2
VARIANTS = tuple((kind, widener) for kind in (str, StrSubclass) for widener in WIDENERS)


def prepare() -> None:
    """Replaces the clock in both modules, and lowers the limits so that short texts reach them."""
    sys.set_int_max_str_digits(640)
    for module in (native, plain):
        module.datetime = StoppedClock
        module._MAX_PATHSPEC_CHARS = 12


def function_of(data: bytes) -> str:
    """Returns the name of the function that the input is for."""
    return NAMES[data[0] % len(NAMES)]


def check(data: bytes) -> None:
    """Compares the two modules on one input."""
    if len(data) < HEAD:
        return
    name = function_of(data)
    kind, widener = VARIANTS[data[1] % len(VARIANTS)]
    text = kind(data[HEAD:].decode("latin-1").translate(EXOTIC) + widener)
    for module in (native, plain):
        module.run_git_command = lambda *_: (text, "", 0)
    assert_alike(name, *FUNCTIONS[name](text))


prepare()
