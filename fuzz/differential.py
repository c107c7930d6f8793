"""What each fuzz input is: one parser and one text, for which the two modules must answer alike.

The first byte names the parser, the second how the text is stored (in one, two or four bytes a
character) and whether it is a plain `str`, which the native parsers read in their own way, or one
of a subclass, which they read by calling its methods. The rest is the text in Latin-1, but for
sixteen bytes that stand for characters which that lacks.
"""

import sys
from collections.abc import Callable
from typing import Any

from compare import StoppedClock, Text, assert_alike, native, plain

# Lone surrogates, digits beyond ASCII, wide characters that would be a digit, a line feed, NUL, a
# tab, ":", U+001E, "+" or "@" if they were narrowed to a byte, a line separator, and plain ones.
EXOTIC = dict(
    enumerate(
        "\ud800\udcff\u0663\uff11\u0130\u010a\u0100\u0109\u013a\u011e\u012b\u0140\u2028"
        "\u4e2d\U0001d7db\U0001f600",
        start=0xF0,
    )
)
# Appended, they make Python store the whole text wider; narrowed, each would be the digit 0.
WIDENERS = ("", "\u0130", "\U00010330")


def itself(text: str) -> tuple[Any, ...]:
    """The text as the one argument."""
    return (text,)


def tokens(text: str) -> tuple[Any, ...]:
    """A list of texts as the one argument."""
    return (text.split("\0"),)


def printed(*arguments: str) -> Callable[[str], tuple[Any, ...]]:
    """Arguments that the text is none of: it is what git has printed."""
    return lambda _text: ("root", *arguments)


# What the text makes of each parser's arguments.
PARSERS = {
    "parse_line_spans": itself,
    "parse_file_changes": itself,
    "parse_commit_changes": itself,
    "_file_changes": tokens,
    "_line_count": itself,
    "_patch_path": itself,
    "_unquote": itself,
    "_path_batches": tokens,
    "parse_time_spec": itself,
    "normalize_branch_name": itself,
    "sanitize_branch_name": itself,
    "count_commits": printed("base", "head"),
    "get_authors_for_period": printed("7d"),
}
NAMES = tuple(PARSERS)

# Ahead of the text: the bytes for its parser and its variant.
HEAD = 2
VARIANTS = tuple((kind, widener) for kind in (str, Text) for widener in WIDENERS)


def prepare() -> None:
    """Makes both modules answer from the text alone, and their limits near."""
    sys.set_int_max_str_digits(640)
    for module in (native, plain):
        module.datetime = StoppedClock
        module._MAX_PATHSPEC_CHARS = 12


def parser_of(data: bytes) -> str:
    """The name of the parser that the input is for."""
    return NAMES[data[0] % len(NAMES)]


def check(data: bytes) -> None:
    """Compares the two modules on one input."""
    if len(data) < HEAD:
        return
    name = parser_of(data)
    kind, widener = VARIANTS[data[1] % len(VARIANTS)]
    text = kind(data[HEAD:].decode("latin-1").translate(EXOTIC) + widener)
    for module in (native, plain):
        module.run_git_command = lambda *_: (text, "", 0)
    assert_alike(name, *PARSERS[name](text))


prepare()
