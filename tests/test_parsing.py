"""Reading git's change streams, logs, patches and quoted names."""

import gc
from dataclasses import astuple
from pathlib import Path
from types import ModuleType

import pytest
from compare import Text, assert_alike
from worlds import odd, run_python

HUGE = "9" * 25
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
    "again": (":1 D|a|:1 M|a|3\t4\ta", "a modified 3 4"),
    "no counts": (":1 A|a|1\t2|+1\t1x\ta", "a added 0 0"),
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
    "no line feed at the end, then an added header": (
        "+++ a\n@@ -1 +1 @@\n-x\n\\ No newline at end of file\n+++ b\n@@ -5 +5 @@",
        "a 1-1, a 5-5",
    ),
    "a name of one quote": ('+++ "\n@@ -1 +1 @@\n', '" 1-1'),
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


DEEDS = {"empties": dict.clear, "grows": lambda held: held.update(c=("added", None))}
DEEDS |= {"breaks": lambda held: held.update(b=5), "shortens": lambda held: held.update(b=("x",))}


@pytest.mark.parametrize("deed", DEEDS)
def test_a_path_may_change_the_map_that_it_is_looked_up_in(deed: str) -> None:
    def equals(path: str, other: object) -> bool:
        for each in gc.get_referrers(path):
            if type(each) is dict and any(key is path for key in each):
                DEEDS[deed](each)
        return str.__eq__(path, other)

    path = odd(str, "a", __eq__=equals, __hash__=str.__hash__)
    assert_alike("_file_changes", [":M", path, ":M", "b", "1\t2\ta"])


def test_the_kept_inputs_of_the_fuzzer_are_read_as_python_reads_them() -> None:
    replay = Path(__file__).parents[1] / "fuzz" / "replay.py"
    assert "native and plain Python agree" in run_python(str(replay))
