"""What each fuzz input is: one parser and one text, for which the two modules must answer alike.

The first byte names the parser, the second how the text is stored (in one, two or four bytes a
character) and whether it is a plain `str`, which the native parsers read in their own way, or one
of a subclass, which they read by calling its methods. The rest is the text in Latin-1, but for
sixteen bytes that stand for characters which that lacks.
"""

import sys
from collections.abc import Callable
from datetime import datetime, tzinfo
from types import ModuleType
from typing import Any, Self

import plain_python as twin

import orvel_tarnix.utils.git_utils as native

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


class Text(str):
    """A str that is none exactly."""

    __slots__ = ()


class StoppedClock(datetime):
    """The datetime class with a `now` that both modules see alike."""

    @classmethod
    def now(cls, tz: tzinfo | None = None) -> Self:
        """The same moment every time."""
        return cls(2026, 9, 1, 12, 30, tzinfo=tz)


def of_tokens(name: str) -> Callable[[ModuleType, str], Any]:
    """A parser that reads a list of texts."""
    return lambda module, text: getattr(module, name)(text.split("\0"))


def of_output(name: str, *arguments: str) -> Callable[[ModuleType, str], Any]:
    """A parser that reads what git has printed."""

    def parse(module: ModuleType, text: str) -> Any:
        module.run_git_command = lambda _root, _args: (text, "", 0)
        return getattr(module, name)("root", *arguments)

    return parse


def of_text(name: str) -> Callable[[ModuleType, str], Any]:
    """A parser that reads a text."""
    return lambda module, text: getattr(module, name)(text)


PARSERS = {
    "parse_line_spans": of_text("parse_line_spans"),
    "parse_file_changes": of_text("parse_file_changes"),
    "parse_commit_changes": of_text("parse_commit_changes"),
    "_file_changes": of_tokens("_file_changes"),
    "_line_count": of_text("_line_count"),
    "_patch_path": of_text("_patch_path"),
    "_unquote": of_text("_unquote"),
    "_path_batches": of_tokens("_path_batches"),
    "parse_time_spec": of_text("parse_time_spec"),
    "normalize_branch_name": of_text("normalize_branch_name"),
    "sanitize_branch_name": of_text("sanitize_branch_name"),
    "count_commits": of_output("count_commits", "base", "head"),
    "get_authors_for_period": of_output("get_authors_for_period", "7d"),
}
NAMES = tuple(PARSERS)

# Ahead of the text: the bytes for its parser and its variant.
HEAD = 2
VARIANTS = tuple((kind, widener) for kind in (str, Text) for widener in WIDENERS)


def prepare() -> None:
    """Makes both modules answer from the text alone, and their limits near."""
    sys.set_int_max_str_digits(640)
    for module in (native, twin):
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
    found, expected = (outcome(PARSERS[name], module, text) for module in (native, twin))
    if found != expected:
        raise AssertionError(f"{name}({text!r}) of {kind}\n  {found}\n  {expected}")


def outcome(parse: Callable[[ModuleType, str], Any], module: ModuleType, text: str) -> object:
    """What a call gives, comparable between modules, whose record classes are different ones."""
    try:
        result = parse(module, text)
    except Exception as error:  # noqa: BLE001 - whichever it is, the other must raise it too
        return described(error)
    return type(result).__name__, repr(result)


def described(error: BaseException | None) -> object:
    """An exception with all that it is chained to."""
    if error is None:
        return None
    chain = (described(error.__cause__), described(error.__context__))
    return type(error).__name__, str(error), error.__suppress_context__, *chain


prepare()
