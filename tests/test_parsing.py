"""Reading git's change streams, logs, patches and quoted names."""

from collections.abc import Callable, Iterator
from types import ModuleType

import pytest
from hypothesis import example, given
from hypothesis import strategies as st
from hypothesis.strategies import DrawFn, SearchStrategy
from twin import assert_alike, native

TOO_MANY_DIGITS = "1" * 4301
WIDE = ["", "中", "😀"]  # a text with one of these is stored in one, two or four bytes a character
RAW = ":100644 100644 0a 0b "
widths = pytest.mark.parametrize("wide", WIDE, ids=["one-byte", "two-byte", "four-byte"])


class Text(str):
    """A str that is none of the plain ones."""

    __slots__ = ()


def tokens(*each: str) -> str:
    """Join the tokens of a stream."""
    return "\0".join(each)


def unchanged(names: str, status: str = "modified") -> list[tuple[object, ...]]:
    """Files of which no lines are counted."""
    return [(name, status, 0, 0, None) for name in names]


STREAMS = [
    (("3\t1\ta",), []),
    ((RAW + "M", "a", "3\t1\ta", ""), [("a", "modified", 3, 1, None)]),
    ((RAW + "R086", "old", "new", "0\t7\t", "old", "new"), [("new", "renamed", 0, 7, "old")]),
    ((RAW + "C9", "a", ":b", "1\t0\t", "a", ":b", ""), [(":b", "copied", 1, 0, "a")]),
    ((RAW + "A", "a\tb\n", "9\t-\ta\tb\n"), [("a\tb\n", "added", 9, 0, None)]),
    (("\n\n" + RAW + "D", "\na", "\n2\t\t\na"), [("\na", "deleted", 2, 0, None)]),
    ((RAW + "U", "a", RAW + "é", "b", ":c", "c", RAW, "d", RAW + "T", "e"), unchanged("abcde")),
    ((RAW + "A", "a", "1\t2", "x\ty", "1\t2\tb", "+1\t 1\ta"), unchanged("a", "added")),
    ((RAW + "M", "b", RAW + "M", "a"), unchanged("ba")),
    ((RAW + "A", "a", "٣\t" + "9" * 25 + "\ta"), [("a", "added", 3, int("9" * 25), None)]),
    (("1\t2\ta", RAW + "D", "a", RAW + "M", "a", "3\t4\ta"), [("a", "modified", 3, 4, None)]),
]


@widths
@pytest.mark.parametrize(("stream", "files"), STREAMS)
def test_raw_and_numstat_records_are_joined_by_path(
    either: ModuleType, wide: str, stream: tuple[str, ...], files: list[tuple[object, ...]]
) -> None:
    expected = [either.FileChange(*file) for file in files]
    assert either.parse_file_changes(tokens(*stream, wide)) == expected
    assert either._file_changes([*stream, wide]) == expected
    assert either.parse_file_changes(Text(tokens(*stream, wide))) == expected
    log = either.parse_commit_changes(tokens("\x1e5", *stream, wide))
    assert log == [either.CommitChanges(5, tuple(expected))]
    assert hash(log[0]) == hash((5, tuple(expected)))


@pytest.mark.parametrize("cut", [(RAW + "M",), (RAW + "R086", "old"), (RAW + "C", "old", "")])
def test_a_stream_that_ends_inside_a_record_records_nothing_for_it(
    either: ModuleType, cut: tuple[str, ...]
) -> None:
    whole = (RAW + "A", "中")
    expected = [either.FileChange("中", "added", 0, 0)]
    assert either.parse_file_changes(tokens(*whole, *cut)) == expected
    assert either.parse_file_changes(tokens(*whole, *cut, "")) == expected


def test_file_changes_takes_any_iterable_once(either: ModuleType) -> None:
    def stream() -> Iterator[str]:
        yield from (RAW + "R1", "a")
        raise OSError("cut off")

    expected = [either.FileChange("a", "added", 0, 0)]
    assert either._file_changes(iter((RAW + "A", "a"))) == expected
    assert either._file_changes(dict.fromkeys((RAW + "A", "a"))) == expected
    assert either._file_changes(":") == []
    with pytest.raises(OSError, match="cut off"):
        either._file_changes(stream())


LOGS = [
    (("a", RAW + "A", "b"), []),
    (("\x1e5", "\x1e4", ""), [(5, 0), (4, 0)]),
    (("lost", "\n\x1e 12\n", "\n" + RAW + "A", "a", "", "\x1e٣"), [(12, 1), (3, 0)]),
    (("\x1e1_0", RAW + "A", "\x1e-3", "a"), [(10, 0), (-3, 0)]),
    (("\x1e\x1e1\x1f", RAW + "A", "a", RAW + "A", "b"), [(1, 2)]),
    (("\x1e" + "9" * 30, RAW + "A", "\n\n\x1e7"), [(int("9" * 30), 0), (7, 0)]),
]


@widths
@pytest.mark.parametrize(("log", "stamps"), LOGS)
def test_a_log_is_cut_into_commits_at_their_headers(
    either: ModuleType, wide: str, log: tuple[str, ...], stamps: list[tuple[int, int]]
) -> None:
    for kind in (str, Text):
        commits = either.parse_commit_changes(kind(tokens(*log, wide)))
        assert [(commit.timestamp, len(commit.files)) for commit in commits] == stamps
        assert all(type(commit.files) is tuple for commit in commits)


@widths
@pytest.mark.parametrize("stamp", ["", "x", "5x", "1.5", TOO_MANY_DIGITS])
def test_a_stamp_that_is_no_number_is_an_error_of_int(wide: str, stamp: str) -> None:
    log = tokens("\x1e1", RAW + "A", "a", "\x1e" + stamp, RAW + "A", "b", "²\t1\tb", wide)
    assert_alike("parse_commit_changes", log)
    with pytest.raises(ValueError, match=r"invalid literal|digits"):
        native.parse_commit_changes(log)


LONG = "".join(f"-{n}\n+{n}\n" for n in range(400))
KEPT = "".join(f" {n}\n" for n in range(400))


# The spans of file a, then those of file b.
PATCHES = [
    ("+++ a\n@@ -5,0 +4,2 @@ f()\n+x\n+y\n", [(4, 5, True)], []),
    ("+++ a\n@@ -9,2 +10,3 @@\n-\n-\n+\n+\n+\n@@ -1 +1 @@", [(10, 12, False), (1, 1, False)], []),
    ("+++ a\n@@ -5 +5 @@\r\n-x\n\\ No\n+y\n\\ No\n", [(5, 5, False)], []),
    ("+++ a\n@@ -7,3 +6,0 @@\n---\n-- \n-\n", [(6, 6, False)], []),
    ("+++ a\n@@ -1,2 +0,0 @@\n-x\n-y\n", [(1, 1, False)], []),
    ("+++ a\n@@ -0,0 +1,3 @@\n+++ b\n+@@ -1 +1 @@\n+\n", [(1, 3, True)], []),
    ("+++ /dev/null\n@@ -1,2 +0,0 @@\n-+++ a\n-@@ -1 +1 @@\n", [], []),
    ("@@ -1 +1 @@\n-x\n+y\n+++ a\t\n@@ -3 +3 @@", [(3, 3, False)], []),
    ("+++ a\n@@ -1 +1 @@\n x\n+++ b\n@@ -2 +2 @@", [(1, 1, False)], [(2, 2, False)]),
    ("+++ a\n@@ -0,0 +1 @@\n-\n-\n+\n+++ b\n@@ -2 +2 @@", [(1, 1, True)], [(2, 2, False)]),
    ("+++ a\n@@ -0,0 +1,0 @@\n+++ b\n@@ -4 +4 @@\n", [(1, 1, False)], [(4, 4, False)]),
    ('+++ "\\141"\t\n@@ -1,٣ +٤,٢ @@\n', [(4, 5, False)], []),
    (f"+++ a\n@@ -1,400 +1,400 @@\n{LONG}+++ b\n@@ -5 +5 @@", [(1, 400, False)], [(5, 5, False)]),
    (f"+++ a\n@@ -1,401 +1,400 @@\n{LONG}+++ b\n@@ -5 +5 @@", [(1, 400, False)], []),
    (f"+++ a\n@@ -1,400 +1,400 @@\n{KEPT}+++ b\n@@ -5 +5 @@", [(1, 400, False)], [(5, 5, False)]),
    (f"+++ a\n@@ -1 +1,{'9' * 20} @@\n{LONG}", [(1, int("9" * 20), False)], []),
    ("+++ a\n@@ -1, +1 @@\n@@  -1 +1 @@\n@@ -1 +1\n@@ -1 +1@@\n @@ -1 +1 @@\n", [], []),
]


@widths
@pytest.mark.parametrize(("patch", "of_a", "of_b"), PATCHES)
def test_each_hunk_is_a_span_of_the_newer_side(
    either: ModuleType,
    wide: str,
    patch: str,
    of_a: list[tuple[object, ...]],
    of_b: list[tuple[object, ...]],
) -> None:
    spans = {"a": [either.LineSpan(*span) for span in of_a]}
    spans["b"] = [either.LineSpan(*span) for span in of_b]
    expected = [(path, each) for path, each in spans.items() if each]
    for text in (f"{patch}\n{wide}", f"diff --git {wide}\n{patch}", Text(patch + wide)):
        assert list(either.parse_line_spans(text).items()) == expected


QUOTED = {
    r"\a\b\f\n\r\t\v\"\\": '\a\b\f\n\r\t\v"\\',
    r"\303\251\344\270\255\360\237\230\200": "é中😀",
    r"\377-\303\303\251é": "\ufffd-\ufffdéé",
    r"\18\1234\q": "18S4q",
    "\\\n\\中\\٣٣٣\\": "\n中٣٣٣\\",
}


@widths
@pytest.mark.parametrize("quoted", QUOTED)
def test_c_style_quotes_are_undone(either: ModuleType, wide: str, quoted: str) -> None:
    for kind in (str, Text):
        assert either._unquote(kind(wide + quoted)) == wide + QUOTED[quoted]
        assert either._patch_path(kind(f'"{wide}{quoted}"\t')) == wide + QUOTED[quoted]


PATHS_OF_LINES = {"a": "a", "a b\t": "a b", "a\t\t": "a\t", "": "", '"/dev/null"': "/dev/null"}
PATHS_OF_LINES |= {"/dev/null": None, "/dev/null\t": None, '"': '"', '""': "", '"a': '"a'}


@pytest.mark.parametrize("text", PATHS_OF_LINES)
def test_the_name_line_tells_the_path(either: ModuleType, text: str) -> None:
    assert either._patch_path(text) == either._patch_path(Text(text)) == PATHS_OF_LINES[text]


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
    sample = st.sampled_from
    file = st.tuples(sample(PATHS), sample(LETTERS), sample(PATHS), sample(COUNTS), sample(COUNTS))
    files = draw(st.lists(file, max_size=5))
    if draw(st.booleans()):
        files = sorted({file[0]: file for file in files if file[0]}.values())
    raw, numstat = [], []
    for path, letter, old, added, deleted in files:
        is_pair = letter[:1] in {"R", "C"}
        raw.append(f"{RAW}{letter}\0" + (f"{old}\0" if is_pair else "") + f"{path}\0")
        counted = f"\0{old}\0{path}" if is_pair else path
        numstat.append(f"{added}\t{deleted}\t{counted}\0")
    return noisy(draw, raw + numstat, NOISE)


@st.composite
def logs(draw: DrawFn) -> str:
    """Draw the output of a log."""
    commit = st.tuples(st.sampled_from(STAMPS[:2] * 4 + STAMPS), diffs())
    commits = draw(st.lists(commit, max_size=4))
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


def hold_for_any(name: str, texts: SearchStrategy[str]) -> Callable[[], None]:
    """Make the test that the function reads any such text as its twin does."""

    @given(texts, st.sampled_from([*(f"\0{wide}" for wide in WIDE), "\n中", "\n😀", ""]))
    def test(text: str, end: str) -> None:
        assert_alike(name, text + end)
        assert_alike(name, Text(text + end))

    return test


PIECES = [*'\\\\"an8\n\té中😀\ud800', "303", "251", "377", "400", "/dev/null"]
ANY_NAME = st.lists(st.sampled_from(PIECES), max_size=9).map("".join)
test_any_diff_is_read_as_python_reads_it = hold_for_any("parse_file_changes", diffs())
test_any_log_is_read_as_python_reads_it = hold_for_any("parse_commit_changes", logs())
test_any_patch_is_read_as_python_reads_it = hold_for_any("parse_line_spans", patches())
test_any_quoted_name_is_read_as_python_reads_it = hold_for_any("_unquote", ANY_NAME)
test_any_name_line_is_read_as_python_reads_it = hold_for_any(
    "_patch_path", ANY_NAME | ANY_NAME.map('"{}"'.format)
)
test_any_count_is_read_as_python_reads_it = hold_for_any("_line_count", st.sampled_from(COUNTS))

NUMBERS = st.integers() | st.sampled_from([None, 1.5, float("nan"), "1", True, 0, 10**30, 2j, []])


@given(NUMBERS, NUMBERS, NUMBERS)
@example(0, 0, 0)
@example(1, 2, 0)
def test_any_span_is_made_as_python_makes_it(start: object, new: object, old: object) -> None:
    assert_alike("_span", start, new, old)


ODD = [None, 5, b"a\0b", [], ["a", 1], [b":M", b"a"], {":M": 1}, (":M", 1)]


@pytest.mark.parametrize("odd", ODD)
def test_what_is_no_text_fails_as_in_python(odd: object) -> None:
    parsers = ["parse_file_changes", "parse_commit_changes", "parse_line_spans"]
    for name in [*parsers, "_file_changes", "_line_count", "_patch_path", "_unquote"]:
        assert_alike(name, odd)
