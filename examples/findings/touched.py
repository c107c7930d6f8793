"""Which lines of which files a branch touched."""

from bisect import bisect_left
from collections.abc import Iterable, Iterator, Sequence
from pathlib import Path

from shared.git import WITH_NEWER_SIDE, are_related, changed_files

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange, LineSpan

# The module passes at most this many characters of paths to one git command.
MAX_PATH_CHARS = 16_000

type Spans = dict[str, list[LineSpan]]


class Touched:
    """The lines of a file that a diff touched."""

    def __init__(self, spans: Sequence[LineSpan]) -> None:
        self._starts = [span.start for span in spans]
        self._ends = [span.end for span in spans]

    def overlaps(self, start: int, end: float) -> bool:
        """Whether a line from start to end is among them."""
        following = bisect_left(self._ends, start)
        return following < len(self._ends) and self._starts[following] <= end


def touched_spans(root: Path, base: str, head: str, paths: set[str]) -> Spans:
    """The lines of these files that ``head`` touched since it left ``base``.

    If the two have no commit in common, these are the lines that differ.
    """
    related = are_related(git_utils, root, base, head)
    changes = changed_files(git_utils, root, base, head)
    spans: Spans = {}
    for names in _path_batches(change for change in changes if change.path in paths):
        spans |= git_utils.diff_line_spans(
            root, base, head, merge_base=related, paths=names, diff_filter=WITH_NEWER_SIDE
        )
    return spans


def _path_batches(changes: Iterable[FileChange]) -> Iterator[list[str]]:
    """The paths of changed files, as many as the module passes to one git command.

    Git recognises a renamed file only if it also gets the old path; otherwise all of its lines
    would be new. So both paths are in the same batch.
    """
    names: list[str] = []
    size = 0
    for change in changes:
        both = [change.path] if change.old_path is None else [change.old_path, change.path]
        more = sum(len(name) + 1 for name in both)
        if names and size + more > MAX_PATH_CHARS:
            yield names
            names, size = [], 0
        names += both
        size += more
    if names:
        yield names
