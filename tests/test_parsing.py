"""Reading git's change streams, logs, patches and quoted names."""

from dataclasses import astuple
from types import ModuleType

import pytest
from compare import Text, assert_alike
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.strategies import DataObject, DrawFn

RAW = ":100644 100644 0a 0b "
HUGE = "9" * 25
TOO_MANY_DIGITS = "1" * 4301
# A text with one of these is stored in one, two or four bytes a character.
widths = pytest.mark.parametrize("wide", ["", "中", "😀"], ids=["one", "two", "four"])


STREAMS = [
    ((RAW + "R086", "old", "new", "0\t7\t", "old", "new"), [("new", "renamed", 0, 7, "old")]),
    ((RAW + "A", "a\tb\n", f"{HUGE}\t-\ta\tb\n"), [("a\tb\n", "added", int(HUGE), 0, None)]),
    (("\n\n" + RAW + "D", "\na", "\n2\t\t\na"), [("\na", "deleted", 2, 0, None)]),
    (("1\t2\ta", RAW + "D", "a", RAW + "M", "a", "٣\t4\ta"), [("a", "modified", 3, 4, None)]),
    ((RAW + "A", "a", "1\t2", "+1\t 1\ta"), [("a", "added", 0, 0, None)]),
]


@widths
@pytest.mark.parametrize(("stream", "files"), STREAMS)
def test_raw_and_numstat_records_are_joined_by_path(
    either: ModuleType, wide: str, stream: tuple[str, ...], files: list[tuple[object, ...]]
) -> None:
    expected = [either.FileChange(*file) for file in files]
    text = "\0".join([*stream, wide])
    assert either.parse_file_changes(text) == either.parse_file_changes(Text(text)) == expected
    assert either._file_changes(iter(text.split("\0"))) == expected
    log = either.parse_commit_changes(f"lost\0\n\x1e5\0\n{text}\0\x1e12")
    assert [astuple(commit) for commit in log] == [(5, tuple(files)), (12, ())]


LONG = "".join(f"-{n}\n+{n}\n" for n in range(400))
# The spans of file a, then those of file b.
PATCHES = [
    ("+++ a\n@@ -5,0 +4,2 @@ f()\n+x\n+y\n@@ -7 +9 @@", [(4, 5, True), (9, 9, False)], []),
    ("+++ a\n@@ -7,3 +6,0 @@\n---\n-- \n-\n@@ -9 +0,0 @@", [(6, 6, False), (1, 1, False)], []),
    ("+++ a\n@@ -0,0 +1,3 @@\n+++ b\n+@@ -1 +1 @@\n+\n", [(1, 3, True)], []),
    ("@@ -1 +1 @@\n-x\n+y\n+++ /dev/null\n@@ -1 +0,0 @@\n-+++ a\n", [], []),
    ("+++ a\n@@ -0,0 +1 @@\n\\\n-\n+\n+++ b\n@@ -2 +2 @@", [(1, 1, True)], [(2, 2, False)]),
    ('+++ "\\141"\t\n@@ -1,3 +4,٢ @@\n', [(4, 5, False)], []),
    (f"+++ a\n@@ -1,400 +1,400 @@\n{LONG}+++ b\n@@ -5 +5 @@", [(1, 400, False)], [(5, 5, False)]),
    (f"+++ a\n@@ -1,401 +1,400 @@\n{LONG}+++ b\n@@ -5 +5 @@", [(1, 400, False)], []),
]


@widths
@pytest.mark.parametrize(("patch", "of_a", "of_b"), PATCHES)
def test_each_hunk_is_a_span_of_the_newer_side(
    either: ModuleType, wide: str, patch: str, of_a: list[object], of_b: list[object]
) -> None:
    for text in (f"diff --git {wide}\n{patch}\n{'x' * 200}", Text(patch + wide)):
        found = either.parse_line_spans(text).items()
        spans = [(path, [astuple(span) for span in of_path]) for path, of_path in found]
        assert spans == [(path, each) for path, each in (("a", of_a), ("b", of_b)) if each]


# Pieces of what git writes and of what it never would, for streams that are nearly valid.
LETTERS = ["M", "A", "D", "T", "R086", "C100", "U", "", "é", "RC"]
PATHS = ["a", "b", "b.txt", "a\tb", ":c", "é", "中", "😀", "\ud800", "z\n", "\x1e", ""]
COUNTS = ["0", "3", "12", "-", "", "٣", "²", "9" * 18, "9" * 19, " 1", TOO_MANY_DIGITS]
STAMPS = ["5", " 12 ", "\n5\n", "1_0", "-3", "", "x", "٣", "9" * 19, TOO_MANY_DIGITS]
NOISE = ["\0", "\n", "\t", ":", " ", "a\0", "\x1e", "\x1e7\0", ":1 M\0a\0", "1\t2\tb\0", "😀"]


def noisy(draw: DrawFn, pieces: list[str], noise: list[str]) -> str:
    """Join the pieces, every now and then with something between them or without one of them."""
    for _ in range(draw(st.sampled_from([0, 0, 1, 2]))):
        at = draw(st.integers(0, len(pieces)))
        pieces[at : at + draw(st.integers(0, 1))] = [draw(st.sampled_from(noise))]
    return "".join(pieces)


@st.composite
def diffs(draw: DrawFn) -> str:
    """Draw a stream of raw and numstat records."""
    parts = [st.sampled_from(each) for each in (PATHS, LETTERS, PATHS, COUNTS, COUNTS)]
    files = draw(st.lists(st.tuples(*parts), max_size=5))
    if draw(st.booleans()):
        files = sorted({file[0]: file for file in files if file[0]}.values())
    raw, numstat = [], []
    for path, letter, old, added, deleted in files:
        is_pair = letter[:1] in {"R", "C"}
        raw.append(f"{RAW}{letter}\0{f'{old}\0' * is_pair}{path}\0")
        numstat.append(f"{added}\t{deleted}\t{f'\0{old}\0' * is_pair}{path}\0")
    return noisy(draw, raw + numstat, NOISE)


@st.composite
def logs(draw: DrawFn) -> str:
    """Draw the output of a log."""
    stamps = st.sampled_from(STAMPS[:2] * 4 + STAMPS)
    commits = draw(st.lists(st.tuples(stamps, diffs()), max_size=4))
    return noisy(draw, [f"\x1e{stamp}\0\n{diff}" for stamp, diff in commits], NOISE)


LINES = [*"-+ ", "\\ No", "", "+++ b", "--- b", "@@ -1 +1 @@", "+" + "w" * 150, "-中", "+😀"]
NAMES = ["a", "b c\t", '"\\303\\251"', '"\\400"', "/dev/null", "中", '"😀\\t"', '"\ud800"', "a\t"]
STARTS = ["0", "1", "7", "007", "٣", "9" * 19]
LENGTHS = ["", ",0", ",1", ",2", ",130", ",300", ",²", ",", ",٢", "," + TOO_MANY_DIGITS]


@st.composite
def patches(draw: DrawFn) -> str:
    """Draw a patch."""
    sample = st.sampled_from
    ranges = st.tuples(sample(STARTS), sample(LENGTHS[:6] * 3 + LENGTHS))
    pieces = []
    for _ in range(draw(st.integers(0, 5))):
        if draw(st.booleans()):
            pieces.append(f"+++ {draw(sample(NAMES))}\n")
        (old, removed), (new, added) = draw(st.tuples(ranges, ranges))
        pieces.append(f"@@ -{old}{removed} +{new}{added} @@\n")
        for sign, length in (("-", removed), ("+", added)):
            count = int(length[1:]) if length[1:].isdecimal() and len(length) < 9 else 1
            line = draw(sample([sign, sign, " "])) + draw(sample(["", "v", "w" * 150]))
            pieces.append(f"{line}\n" * count)
    return noisy(draw, pieces, [f"{line}\n" for line in LINES])


PIECES = [*'\\\\"an8\n\té中😀\ud800', "303", "251", "377", "400", "/dev/null"]
ANY_NAME = st.lists(st.sampled_from(PIECES), max_size=9).map("".join)
TEXTS = {
    "parse_file_changes": diffs(),
    "parse_commit_changes": logs(),
    "parse_line_spans": patches(),
    "_unquote": ANY_NAME,
    "_patch_path": ANY_NAME | ANY_NAME.map('"{}"'.format),
    "_line_count": st.sampled_from(COUNTS),
}


@pytest.mark.parametrize("name", TEXTS)
@given(st.data(), st.sampled_from(["\0", "\0中", "\0😀", "\n中", "\n😀", ""]))
def test_any_text_is_read_as_python_reads_it(name: str, data: DataObject, end: str) -> None:
    text = data.draw(TEXTS[name]) + end
    assert_alike(name, text)
    assert_alike(name, Text(text))


@pytest.mark.parametrize(
    "odd", [None, 1.5, 10**30, b"a\0b", ["a", 1], [b":M", b"a"], {":M": 1, "a": 2}]
)
def test_what_is_no_text_fails_as_in_python(odd: object) -> None:
    for name in ["_file_changes", *TEXTS]:
        assert_alike(name, odd)
    for new_count in (0, 1, odd):
        assert_alike("_span", odd, new_count, 1)
        assert_alike("_span", -1, new_count, odd)
