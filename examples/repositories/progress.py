"""Which repositories have a row, kept in a JSON Lines file that a later run can continue."""

import fcntl
import json
import os
import stat
from pathlib import Path

from repositories.row import NAMES, NUMBERS, Row
from shared.program import ProgramError

MAX_LINE = 1 << 20  # bytes; a row has at most two paths and a line from git
KEYS = dict.fromkeys(("since", "root"), str)
SHAPES = (KEYS | {"error": str}, KEYS | dict.fromkeys(NAMES, str) | dict.fromkeys(NUMBERS, int))


class Progress:
    """The rows since one time spec, and the file that keeps them, if one is named."""

    def __init__(self, path: Path | None, since: str, *, resume: bool) -> None:
        """Reads the rows that are there. A file with other content is not modified."""
        self.roots: set[str] = set()
        self.failed = 0
        self._added = 0
        self._since = since
        self._file = os.fdopen(_locked(path), "a", closefd=False) if path else None
        if path and not resume and os.fstat(self._file.fileno()).st_size:
            raise ProgramError(f"{path} is not empty: add --resume or name another file")
        if path:
            self._read(path)

    def __str__(self) -> str:
        hint = "run it again with --resume to continue" if self._file else "--jsonl FILE keeps them"
        return f"stopped after {self._added} rows; {hint}"

    def add(self, row: Row) -> Row:
        """Writes a row at once, so that it is there even if the program is killed."""
        if self._file:
            print(json.dumps({"since": self._since} | row), file=self._file, flush=True)
        self._added += 1
        self.failed += "error" in row
        return row

    def _read(self, path: Path) -> None:
        end = 0
        file = self._file.fileno()  # the locked one, even if another has taken its name meanwhile
        with open(file, "rb", closefd=False) as lines:
            lines.seek(0)
            for number, line in enumerate(iter(lambda: lines.readline(MAX_LINE), b""), 1):
                if self.roots and self._is_cut_short(line):
                    os.truncate(file, end)  # a new row replaces it
                    return
                if not (row := _row(line)):
                    raise ProgramError(f"{path}, line {number}: not a row of a repository")
                if row["since"] != self._since:
                    raise ProgramError(f"{path} has rows since {row['since']}, not {self._since}")
                end += len(line)
                self.roots.add(row["root"])
                self.failed += "error" in row

    def _is_cut_short(self, line: bytes) -> bool:
        """Whether this is a row whose writer was killed."""
        begin = json.dumps({"since": self._since, "root": ""})[:-2].encode()
        begins = line.startswith(begin) or begin.startswith(line)
        return begins and line[-1:] != b"\n" and len(line) < MAX_LINE


def _locked(path: Path) -> int:
    """A descriptor of the file, which is locked until the program ends."""
    file = os.open(path, os.O_RDWR | os.O_CREAT | os.O_APPEND | os.O_NONBLOCK, 0o666)
    if not stat.S_ISREG(os.fstat(file).st_mode):
        raise ProgramError(f"{path}: not a regular file")
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError as error:
        raise ProgramError(f"{path}: another run is writing to it") from error
    return file


def _row(line: bytes) -> Row | None:
    """The row in a line, None if it holds anything else."""
    try:
        row = json.loads(line)
    except (ValueError, RecursionError):
        return None
    is_row = line[-1:] == b"\n" and isinstance(row, dict)
    return row if is_row and {name: type(row[name]) for name in row} in SHAPES else None
