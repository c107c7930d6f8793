"""The parsers of git's change streams, logs and patches, and of quoted names."""

from collections.abc import Callable, Iterable
from dataclasses import astuple
from pathlib import Path
from types import ModuleType
from typing import Any, NamedTuple

import pytest
from compare import StrSubclass, assert_alike
from odd_objects import ChangingPath
from python_process import run_python

# A text that contains the character is stored in one, two or four bytes a character.
in_every_width = pytest.mark.parametrize(
    "wide", ["", "中", "😀"], ids=["one byte", "two bytes", "four bytes"]
)
HUGE = "9" * 19  # does not fit in 64 bits


class Stream(NamedTuple):
    """What git prints for a diff, with "|" for NUL, and the files that are read from it.

    A file is given as its path, status, added and removed lines, and old path if it has one.
    """

    printed: str
    files: list[str]
    ends_early: bool = False


STREAMS = {
    "a renamed file": Stream(
        ":100644 100644 0a 0b R086|old|new|0\t7\t|old|new", ["new renamed 0 7 old"]
    ),
    "a copied file": Stream(":1 C1|old|new|1\t0\t|old|new", ["new copied 1 0 old"]),
    "status letters without a status of their own": Stream(
        ":1 T|a|:1 X|b|: |c", ["a modified 0 0", "b modified 0 0", "c modified 0 0"]
    ),
    "a path that looks like a record": Stream(
        f":1 A|:\ta|{HUGE}\t-\t:\ta", [f":\ta added {HUGE} 0"]
    ),
    "line feeds before records": Stream("\n\n:1 D|\na|\n2\t\t\na", ["\na deleted 2 0"]),
    "line feeds before a raw record only": Stream("\n\n:1 M|a", ["a modified 0 0"]),
    "a path twice, its counts first": Stream("1\t2\ta|:1 D|a|:1 M|a|٣\t4\ta", ["a modified 3 4"]),
    "a path twice": Stream(":1 D|a|:1 M|a|3\t4\ta", ["a modified 3 4"]),
    "malformed counts": Stream(":1 A|a|1\t2|+1\t1x\ta", ["a added 0 0"]),
    "counts of the second file only": Stream(
        ":1 M|a|:1 M|b|3\t4\tb", ["a modified 0 0", "b modified 3 4"]
    ),
    "raw and numstat records by turns": Stream(
        ":1 M|a|1\t1\ta|:1 M|b|2\t2\tb", ["a modified 1 1", "b modified 2 2"]
    ),
    "paths that differ in their last character": Stream(
        ":1 M|é中|:1 M|é丮|1\t1\té中|2\t2\té丮", ["é中 modified 1 1", "é丮 modified 2 2"]
    ),
    "a record without its path": Stream(":1 A|a|:1 R1|b", ["a added 0 0"], ends_early=True),
}


each_stream = pytest.mark.parametrize("stream", STREAMS.values(), ids=STREAMS)


def text_of(stream: Stream, wide: str = "") -> str:
    """The stream with NULs, and at its end the wide character as a token without meaning."""
    end = "" if stream.ends_early else f"|{wide}"
    return f"{stream.printed}{end}".replace("|", "\0")


def assert_lists(changes: Iterable[Any], stream: Stream) -> None:
    lines = [" ".join(map(str, astuple(file))).removesuffix(" None") for file in changes]
    assert lines == [line.replace("|", "\0") for line in stream.files]


@in_every_width
@each_stream
def test_raw_and_numstat_records_are_joined_by_path(
    module: ModuleType, wide: str, stream: Stream
) -> None:
    assert_lists(module.parse_file_changes(text_of(stream, wide)), stream)


@each_stream
def test_records_are_read_from_any_iterable_of_tokens(module: ModuleType, stream: Stream) -> None:
    assert_lists(module._file_changes(iter(text_of(stream).split("\0"))), stream)


@in_every_width
@each_stream
def test_the_records_of_a_commit_follow_its_header(
    module: ModuleType, wide: str, stream: Stream
) -> None:
    log = f"lost\0\n\x1e5\0\n{text_of(stream, wide)}\0\n\n\x1e12"
    first, second = module.parse_commit_changes(log)
    assert_lists(first.files, stream)
    assert (first.timestamp, second) == (5, module.CommitChanges(12, ()))


class Patch(NamedTuple):
    """The lines of a patch, and the spans read from it as "path start-end", new ones marked."""

    lines: str
    spans: list[str]


# Long hunks are skipped in blocks of many lines; the next file shows where such a hunk has ended.
LONG_LINES = "".join(f"-{number}\n+{number}\n" for number in range(400))
EMPTY_LINES = "-\n" * 600 + "+\n" * 600
NEXT_FILE = "+++ b\n@@ -5 +5 @@"
PATCHES = {
    "two hunks": Patch("+++ a\n@@ -5,0 +4,2 @@ f()\n+x\n+y\n@@ -7 +9 @@", ["a 4-5 new", "a 9-9"]),
    "removed lines": Patch(
        "+++ a\n@@ -7,3 +6,0 @@\n---\n-- \n-\n@@ -9 +0,0 @@", ["a 6-6", "a 1-1"]
    ),
    "added lines that look like headers": Patch(
        "+++ a\n@@ -0,0 +1,3 @@\n+++ b\n+@@ -1 +1 @@\n+\n", ["a 1-3 new"]
    ),
    "a deleted file": Patch("+++ /dev/null\n@@ -1 +0,0 @@\n-+++ a\n", []),
    "a name that begins like that of no file": Patch(
        "+++ /dev/nullable\n@@ -1 +1 @@\n", ["/dev/nullable 1-1"]
    ),
    "a hunk before the first file, with an added line that looks like a header": Patch(
        "@@ -1 +1 @@\n-x\n+++ a\n@@ -5 +5 @@", []
    ),
    "a hunk without lines": Patch(f"+++ a\n@@ -0,0 +0,0 @@\n{NEXT_FILE}", ["a 1-1", "b 5-5"]),
    "lines that do not count": Patch(
        f"+++ a\n@@ -0,0 +1 @@\n\\\n-\n+\n{NEXT_FILE}", ["a 1-1 new", "b 5-5"]
    ),
    "no line feed at the end, then an added line that looks like a header": Patch(
        f"+++ a\n@@ -1 +1 @@\n-x\n\\ No newline at end of file\n{NEXT_FILE}", ["a 1-1", "a 5-5"]
    ),
    "context lines": Patch(f"+++ a\n@@ -1,2 +1,2 @@\n \n \n{NEXT_FILE}", ["a 1-2", "b 5-5"]),
    "a quoted name": Patch('+++ "\\141"\t\n@@ -1,3 +4,٢ @@\n', ["a 4-5"]),
    "a name of one quote": Patch('+++ "\n@@ -1 +1 @@\n', ['" 1-1']),
    "a name with two tabs": Patch("+++ a\t\t\n@@ -1 +1 @@\n", ["a\t 1-1"]),
    "a long hunk": Patch(
        f"+++ a\n@@ -1,400 +1,400 @@\n{LONG_LINES}{NEXT_FILE}", ["a 1-400", "b 5-5"]
    ),
    "a long hunk that lacks a removed line": Patch(
        f"+++ a\n@@ -1,401 +1,400 @@\n{LONG_LINES}{NEXT_FILE}", ["a 1-400"]
    ),
    "empty lines": Patch(
        f"+++ a\n@@ -1,600 +1,600 @@\n{EMPTY_LINES}{NEXT_FILE}", ["a 1-600", "b 5-5"]
    ),
    "empty lines that lack an added one": Patch(
        f"+++ a\n@@ -1,600 +1,601 @@\n{EMPTY_LINES}{NEXT_FILE}", ["a 1-601", "a 5-5"]
    ),
    "a huge count": Patch(f"+++ a\n@@ -1 +1,{HUGE} @@\n{EMPTY_LINES}{NEXT_FILE}", [f"a 1-{HUGE}"]),
}


each_patch = pytest.mark.parametrize("patch", PATCHES.values(), ids=PATCHES)


@in_every_width
@each_patch
def test_each_hunk_is_a_span_of_the_newer_side(module: ModuleType, wide: str, patch: Patch) -> None:
    text = f"diff --git {wide}\n{patch.lines}\n{'x' * 200}"
    assert spans_of(module, text) == patch.spans


@each_patch
def test_hunks_in_a_subclass_of_str_are_read(module: ModuleType, patch: Patch) -> None:
    assert spans_of(module, StrSubclass(patch.lines)) == patch.spans


def spans_of(module: ModuleType, patch: str) -> list[str]:
    return [
        f"{path} {span.start}-{span.end}{' new' if span.added else ''}"
        for path, spans in module.parse_line_spans(patch).items()
        for span in spans
    ]


CHANGES_OF_A_DICTIONARY = {
    "it becomes empty": dict.clear,
    "it gets one more path": lambda statuses: statuses.update(c=("added", None)),
    "an entry becomes a number": lambda statuses: statuses.update(b=5),
    "an entry becomes a tuple of one": lambda statuses: statuses.update(b=("x",)),
}


@pytest.mark.parametrize("change", CHANGES_OF_A_DICTIONARY.values(), ids=CHANGES_OF_A_DICTIONARY)
def test_a_path_may_change_the_dictionary_it_is_looked_up_in(
    change: Callable[[dict[str, Any]], object],
) -> None:
    path = ChangingPath("a")
    path.change = change
    assert_alike("_file_changes", [":M", path, ":M", "b", "1\t2\ta"])


def test_an_iterator_that_loses_its_next_method_is_not_an_iterator(module: ModuleType) -> None:
    class Tokens:
        def __iter__(self) -> "Tokens":
            return self

        def __next__(self) -> str:
            del Tokens.__next__
            return ":x M"

    with pytest.raises(TypeError, match=r"^'Tokens' object is not an iterator$"):
        module._file_changes(Tokens())


def test_both_modules_read_the_fuzz_corpus_alike() -> None:
    replay = Path(__file__).parents[1] / "fuzz" / "replay.py"
    assert "both modules agree" in run_python(str(replay))
