"""Objects that a caller may pass and that behave unlike the plain ones, a class for each oddity.

The fast paths must leave them to the fallback, which must use them as a Python statement would.
"""

import gc
from collections.abc import Callable, Iterator, KeysView
from itertools import count
from typing import Any


class LongPath(str):
    """A path that claims to have 9,000 characters."""

    __slots__ = ()

    def __len__(self) -> int:
        return 9000


class VagueCount:
    """A count whose comparison returns a str, which becomes a field of the record."""

    def __eq__(self, _other: object) -> Any:
        return "perhaps"

    __hash__ = None


class OddIterator:
    """An iterator that gives `next` other tokens than a loop, which asks for its iterator first."""

    def __iter__(self) -> Iterator[str]:
        return iter([":R", ":M"])

    def __next__(self) -> str:
        return "next"


class OddTokens:
    """Tokens that come out of an odd iterator."""

    def __iter__(self) -> OddIterator:
        return OddIterator()


class HeaderWithoutStamp(str):
    """A commit header whose timestamp is None, as if there had been no header at all."""

    __slots__ = ()

    def lstrip(self, _characters: object = None) -> str:
        return self

    def __getitem__(self, _index: object) -> str:
        return self

    def strip(self, _characters: object = None) -> Any:
        return None


class LogOfOddHeader:
    """A log that splits into such a header, a token that is lost therefore, and a plain header."""

    def split(self, _separator: str) -> list[str]:
        return [HeaderWithoutStamp("\x1e"), "lost", "\x1e5"]


class InconsistentKey(str):
    """A key whose `==` answers False and, for an equal str, True by turns."""

    def __init__(self, _text: str) -> None:
        self._comparisons = count()

    def __eq__(self, other: object) -> bool:
        return next(self._comparisons) % 2 == 1 and str.__eq__(self, other)

    __hash__ = str.__hash__


class ChangingPath(str):
    """A path that changes the dictionary it is a key of, whenever it is compared."""

    change: Callable[[dict[str, Any]], object]

    def __eq__(self, other: object) -> bool:
        for holder in gc.get_referrers(self):
            if type(holder) is dict and any(key is self for key in holder):
                self.change(holder)
        return str.__eq__(self, other)

    __hash__ = str.__hash__


class AnyKeyTable(dict[str, str]):
    """A table whose get() returns a value for any key; the stored dict is empty."""

    def get(self, key: object, _default: object = None) -> Any:
        return f"<{key}>"


class StrWithOverriddenEncode(str):
    """A str whose encode() returns other bytes."""

    __slots__ = ()

    def encode(self, _encoding: str = "", _errors: str = "") -> bytes:
        return b"shifted"


class DictWithOverriddenGetitem(dict[str, Any]):
    """A dict whose `[]` gives other values than it stores: `**` reads the stored ones."""

    def __getitem__(self, key: str) -> str:
        return "other"


class ComputedKeywords(dict[str, str]):
    """A dict that stores nothing: since it has an `__iter__` of its own, `**` asks its methods."""

    def __init__(self, **computed: str) -> None:
        self._computed = computed

    def keys(self) -> KeysView[str]:
        return self._computed.keys()

    def __iter__(self) -> Iterator[str]:
        return iter(self._computed)

    def __getitem__(self, key: str) -> str:
        return self._computed[key]


class BrokenIterable:
    """An iterable whose `__iter__` raises TypeError, as a non-iterable would."""

    def __iter__(self) -> Iterator[str]:
        raise TypeError("from inside")


class BrokenSequence:
    """The same, iterable by its `__getitem__` alone."""

    def __getitem__(self, index: int) -> str:
        raise TypeError("from inside")


class GetitemOnlyResult:
    """A result of run_git_command that can be unpacked only through its `__getitem__`."""

    def __getitem__(self, index: int) -> object:
        return ("out", "", 0)[index]


class LostFileError(FileNotFoundError):
    """A subclass of FileNotFoundError."""


class UnmakeableError(KeyError):
    """An exception class whose instances are not exceptions."""

    def __new__(cls, *_args: object) -> Any:
        return 5
