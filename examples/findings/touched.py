"""Which lines of which files a branch touched."""

from bisect import bisect_left
from collections.abc import Iterable, Iterator, Sequence
from pathlib import Path

from shared.git import WITH_NEWER_SIDE, are_related, changed_files

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import FileChange, LineSpan

# The module gives so many characters of names to one run of git.
NAMES_OF_A_RUN = 16_000

type Spans = dict[str, list[LineSpan]]


class Touched:
    """The lines of a file that a diff touched."""

    def __init__(self, spans: Sequence[LineSpan]) -> None:
        self._starts = [span.start for span in spans]
        self._ends = [span.end for span in spans]

    def meet(self, start: int, end: float) -> bool:
        """Whether any of them is one of these."""
        following = bisect_left(self._ends, start)
        return following < len(self._ends) and self._starts[following] <= end


def touched_spans(root: Path, base: str, head: str, paths: set[str]) -> Spans:
    """The lines of these files that ``head`` touched since it left ``base``.

    Where the two have no commit in common, these are the lines that differ.
    """
    related = are_related(git_utils, root, base, head)
    changes = changed_files(git_utils, root, base, head)
    spans: Spans = {}
    for names in _together(change for change in changes if change.path in paths):
        spans |= git_utils.diff_line_spans(
            root, base, head, merge_base=related, paths=names, diff_filter=WITH_NEWER_SIDE
        )
    return spans


def _together(changes: Iterable[FileChange]) -> Iterator[list[str]]:
    """The names of changed files, as many as one run of git gets.

    Git recognises a renamed file only together with its old name: alone, all of its lines would be
    new. So both names go into the same run.
    """
    names: list[str] = []
    size = 0
    for change in changes:
        both = [change.path] if change.old_path is None else [change.old_path, change.path]
        more = sum(len(name) + 1 for name in both)
        if names and size + more > NAMES_OF_A_RUN:
            yield names
            names, size = [], 0
        names += both
        size += more
    if names:
        yield names
