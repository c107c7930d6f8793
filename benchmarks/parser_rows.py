"""The parsers, beside plain Python, other patch readers and a bare scan of the same text."""

from collections.abc import Iterator
from functools import partial

import plain_python
import unidiff
import whatthepatch
from inputs import DENSE_HUNK, SPARSE_HUNK, commit_log, file_changes, patch
from table import Row
from timing import Stopwatch

from orvel_tarnix.utils import git_utils

PATCH_CHARACTERS = 4_000_000
# The patch readers among the peers take seconds for more.
PEER_CHARACTERS = 500_000
FILES = 50_000
COMMITS = 20_000
OBJECTS = "the making of the records' objects, and the collector's one walk over them"
# By kind of patch and bytes a character.
PATCH_TARGETS = {"dense": {1: 8, 2: 7, 4: 8}, "sparse": {1: 15, 2: 10, 4: 15}}
LINES_A_HUNK = {"dense": DENSE_HUNK, "sparse": SPARSE_HUNK}


def parser_rows(watch: Stopwatch) -> Iterator[Row]:
    """Every row of the parsers."""
    for kind, targets in PATCH_TARGETS.items():
        for width, target in targets.items():
            text = patch(PATCH_CHARACTERS, LINES_A_HUNK[kind], width)
            work = f"`parse_line_spans`, {kind} patch, {width}-byte text"
            yield beside_plain(watch, "parse_line_spans", text, work, target)
    sparse = patch(PATCH_CHARACTERS, SPARSE_HUNK)
    yield beside_newline_count(watch, sparse, "`parse_line_spans`, sparse patch, 1-byte text", 0.6)
    work = f"`parse_file_changes`, {FILES:,} files"
    yield beside_plain(watch, "parse_file_changes", file_changes(FILES), work, 10, OBJECTS)
    work = f"`parse_commit_changes`, {COMMITS:,} commits of 0 to 4 files"
    yield beside_plain(watch, "parse_commit_changes", commit_log(COMMITS), work, 8, OBJECTS)
    for kind, lines_a_hunk in LINES_A_HUNK.items():
        text = patch(PEER_CHARACTERS, lines_a_hunk)
        _readers_agree(text)
        yield from beside_patch_readers(watch, text, f"`parse_line_spans`, {kind} patch", 90)


def _readers_agree(text: str) -> None:
    paths = list(git_utils.parse_line_spans(text))
    if paths != [file.path for file in unidiff.PatchSet(text)]:
        raise AssertionError("unidiff reads other files")
    if paths != [diff.header.new_path for diff in whatthepatch.parse_patch(text)]:
        raise AssertionError("whatthepatch reads other files")


def beside_plain(
    watch: Stopwatch,
    function: str,
    text: str,
    work: str,
    target: float | None = None,
    limit: str = "not known",
) -> Row:
    """One of the parsers beside the same in plain Python."""
    ours, plain = getattr(git_utils, function), getattr(plain_python, function)
    if repr(ours(text)) != repr(plain(text)):
        raise AssertionError(f"{work}: the results differ")
    race = watch.race(
        f"{work} / plain Python", ours=partial(ours, text), plain=partial(plain, text)
    )
    return Row(work, "plain Python", target=target, limit=limit, **race.figures("plain", "ours"))


def beside_newline_count(
    watch: Stopwatch, text: str, work: str, target: float | None = None
) -> Row:
    """The patch parser beside the bare search for the ends of the lines."""
    ours, scan = partial(git_utils.parse_line_spans, text), partial(text.count, "\n")
    race = watch.race(f"{work} / newline count", ours=ours, scan=scan)
    return Row(work, '`str.count("\\n")`', target=target, **race.figures("scan", "ours"))


def beside_patch_readers(
    watch: Stopwatch, text: str, work: str, target: float | None = None
) -> Iterator[Row]:
    """The patch parser beside the libraries that read patches."""
    race = watch.race(
        f"{work} / patch readers",
        ours=partial(git_utils.parse_line_spans, text),
        unidiff=partial(unidiff.PatchSet, text),
        whatthepatch=lambda: list(whatthepatch.parse_patch(text)),
    )
    yield Row(work, "unidiff", target=target, **race.figures("unidiff", "ours"))
    yield Row(work, "whatthepatch", **race.figures("whatthepatch", "ours"))
