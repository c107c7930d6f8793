"""Reading git's change streams, logs, patches and quoted names."""

from dataclasses import astuple
from types import ModuleType

import pytest
from compare import Text, assert_alike
from hypothesis import given
from hypothesis import strategies as st

HUGE = "9" * 25
TOO_MANY_DIGITS = "1" * 4301
# A text with one of these is stored in one, two or four bytes a character.
widths = pytest.mark.parametrize("wide", ["", "中", "😀"], ids=["one", "two", "four"])

# With "|" for NUL, what git prints; and the files, each with its status, counts and old path.
STREAMS = {
    "a rename": (":100644 100644 0a 0b R086|old|new|0\t7\t|old|new", "new renamed 0 7 old"),
    "a copy": (":1 C1|old|new|1\t0\t|old|new", "new copied 1 0 old"),
    "other letters": (":1 T|a|:1 X|b|: |c", "a modified 0 0, b modified 0 0, c modified 0 0"),
    "odd names": (f":1 A|:\ta|{HUGE}\t-\t:\ta", f":\ta added {HUGE} 0"),
    "feeds": ("\n\n:1 D|\na|\n2\t\t\na", "\na deleted 2 0"),
    "feeds alone": ("\n\n:1 M|a", "a modified 0 0"),
    "twice": ("1\t2\ta|:1 D|a|:1 M|a|٣\t4\ta", "a modified 3 4"),
    "no counts": (":1 A|a|1\t2|+1\t 1\ta", "a added 0 0"),
    "counts of the second": (":1 M|a|:1 M|b|3\t4\tb", "a modified 0 0, b modified 3 4"),
    "by turns": (":1 M|a|1\t1\ta|:1 M|b|2\t2\tb", "a modified 1 1, b modified 2 2"),
    "alike names": (":1 M|é中|:1 M|é丮|1\t1\té中|2\t2\té丮", "é中 modified 1 1, é丮 modified 2 2"),
    "cut short": (":1 A|a|:1 R1|b", "a added 0 0"),
}


@widths
@pytest.mark.parametrize("stream", STREAMS)
def test_raw_and_numstat_records_are_joined_by_path(
    either: ModuleType, wide: str, stream: str
) -> None:
    printed, expected = (each.replace("|", "\0") for each in STREAMS[stream])
    text = printed if stream == "cut short" else f"{printed}\0{wide}"
    files = either.parse_file_changes(text)
    told = ", ".join(" ".join(map(str, astuple(file))).removesuffix(" None") for file in files)
    assert told == expected
    assert either.parse_file_changes(Text(text)) == files
    assert either._file_changes(iter(text.split("\0"))) == files
    log = either.parse_commit_changes(f"lost\0\n\x1e5\0\n{text}\0\n\n\x1e12")
    assert log == [either.CommitChanges(5, tuple(files)), either.CommitChanges(12, ())]


LONG = "".join(f"-{n}\n+{n}\n" for n in range(400))
EMPTY = "-\n" * 600 + "+\n" * 600
NEXT = "+++ b\n@@ -5 +5 @@"
PATCHES = {
    "two hunks": ("+++ a\n@@ -5,0 +4,2 @@ f()\n+x\n+y\n@@ -7 +9 @@", "a 4-5 new, a 9-9"),
    "removals": ("+++ a\n@@ -7,3 +6,0 @@\n---\n-- \n-\n@@ -9 +0,0 @@", "a 6-6, a 1-1"),
    "like headers": ("+++ a\n@@ -0,0 +1,3 @@\n+++ b\n+@@ -1 +1 @@\n+\n", "a 1-3 new"),
    "no newer side": ("+++ /dev/null\n@@ -1 +0,0 @@\n-+++ a\n", ""),
    "ahead of a file": ("@@ -1 +1 @@\n-x\n+++ a\n@@ -5 +5 @@", ""),
    "no lines": (f"+++ a\n@@ -0,0 +0,0 @@\n{NEXT}", "a 1-1, b 5-5"),
    "other lines": (f"+++ a\n@@ -0,0 +1 @@\n\\\n-\n+\n{NEXT}", "a 1-1 new, b 5-5"),
    "context": (f"+++ a\n@@ -1,2 +1,2 @@\n \n \n{NEXT}", "a 1-2, b 5-5"),
    "quoted": ('+++ "\\141"\t\n@@ -1,3 +4,٢ @@\n', "a 4-5"),
    "two tabs": ("+++ a\t\t\n@@ -1 +1 @@\n", "a\t 1-1"),
    "long": (f"+++ a\n@@ -1,400 +1,400 @@\n{LONG}{NEXT}", "a 1-400, b 5-5"),
    "one more": (f"+++ a\n@@ -1,401 +1,400 @@\n{LONG}{NEXT}", "a 1-400"),
    "empty lines": (f"+++ a\n@@ -1,600 +1,600 @@\n{EMPTY}{NEXT}", "a 1-600, b 5-5"),
    "one more empty": (f"+++ a\n@@ -1,600 +1,601 @@\n{EMPTY}{NEXT}", "a 1-601, a 5-5"),
    "huge": (f"+++ a\n@@ -1 +1,{HUGE} @@\n{EMPTY}{NEXT}", f"a 1-{HUGE}"),
}


@widths
@pytest.mark.parametrize("patch", PATCHES)
def test_each_hunk_is_a_span_of_the_newer_side(either: ModuleType, wide: str, patch: str) -> None:
    lines, expected = PATCHES[patch]
    for text in (f"diff --git {wide}\n{lines}\n{'x' * 200}", Text(f"{lines}\n{wide}")):
        spans = either.parse_line_spans(text).items()
        told = [
            f"{path} {span.start}-{span.end}{' new' * span.added}"
            for path, of_path in spans
            for span in of_path
        ]
        assert ", ".join(told) == expected


# Pieces of what git writes and of what it never would.
NAMES = ["a", "b c\t", '"\\303\\251"', '"\\400"', '"3٣"', '"\\038"', "/dev/null", "中", '"\ud800"']
HEADERS = [
    "1 +1",
    "1,2 +1,2",
    "2 +٣",
    "1,0 +1",
    f"1 +1,{'9' * 19}",
    "1, +1",
    f"1 +{TOO_MANY_DIGITS}",
]
STAMPS = ["5", " 12 ", "\n5\n", "1_0", "-3", "", "x", "٣", "9" * 19, TOO_MANY_DIGITS]
RECORDS = [":1 M\0a\0", ":1 A\0b\0", ":1 R1\0a\0c\0", ":1 é\0中\0", ":\0\ud800\0", ":1 RC\0\x1e\0"]
RECORDS += [
    "1\t2\ta\0",
    "-\t-\tb\0",
    "٣\t²\tb\0",
    "0\t0\t\0a\0c\0",
    f"{'9' * 19}\t1\ta\0",
    "1\t2\0",
]
NOISE = ["\0", "\n", "\t", ":", " ", "\x1e", "😀"]
CHARACTERS = [*'\\\\\\"an8\n\té中😀\ud800\x7f\x80\u07ff\u0800\uffff\U00010000', "303", "251", "400"]
PIECES = {
    "parse_file_changes": RECORDS * 2 + NOISE,
    "parse_commit_changes": [f"\x1e{stamp}\0\n" for stamp in STAMPS] + RECORDS + NOISE,
    "parse_line_spans": [
        *(f"+++ {name}\n" for name in NAMES),
        *(f"@@ -{header} @@\n" for header in HEADERS),
        *(f"{line}\n" for line in [*"-+ ", "\\ No", "", f"+{'w' * 150}", "-中", "+😀"] * 2),
        *(f"{line}\n" * 130 for line in "+-"),
    ],
    "_unquote": CHARACTERS,
    "_patch_path": [*CHARACTERS, '"', "/dev/null", "\t"],
}


@pytest.mark.parametrize("name", PIECES)
@given(st.data(), st.sampled_from(["\0", "\0中", "\0😀", "\n中", "\n😀", ""]))
def test_any_text_is_read_as_python_reads_it(name: str, data: st.DataObject, end: str) -> None:
    pieces = st.lists(st.sampled_from(PIECES[name]), max_size=12)
    text = "".join(data.draw(pieces)) + end
    assert_alike(name, text)
    assert_alike(name, Text(text))
