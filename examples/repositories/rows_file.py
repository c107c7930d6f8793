"""A JSON Lines file of rows that a later run can continue."""

import errno
import fcntl
import json
import os
import stat
from pathlib import Path

from repositories.row import NAMES, NUMBERS, Row
from shared.program import ProgramError

MAX_LINE = 1 << 20  # bytes; a row has at most two paths and a line from git
TYPES = dict.fromkeys(("since", "root", "error", *NAMES), str) | dict.fromkeys(NUMBERS, int)
SHAPES = ({"since", "root", "error"}, {"since", "root", *NAMES, *NUMBERS})


class RowsFile:
    """The rows since one time spec; locked until the program ends."""

    def __init__(self, path: Path, since: str, *, resume: bool) -> None:
        """Reads the rows that are there. A file with other content is not modified."""
        self.roots: set[str] = set()
        self.failed = 0
        self._path = path
        self._since = since
        self._file = os.open(path, os.O_RDWR | os.O_CREAT | os.O_APPEND | os.O_NONBLOCK, 0o666)
        if not stat.S_ISREG(os.fstat(self._file).st_mode):
            raise ProgramError(f"{path}: not a regular file")
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError as error:
            raise ProgramError(f"{path}: another run is writing to it") from error
        if not resume and os.fstat(self._file).st_size:
            raise ProgramError(f"{path} is not empty: add --resume or name another file")
        self._read()

    def add(self, row: Row) -> None:
        """Writes a row at once, so that it is there even if the program is killed."""
        line = json.dumps({"since": self._since} | row).encode() + b"\n"
        if os.write(self._file, line) < len(line):
            raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC), str(self._path))

    def _read(self) -> None:
        end = 0
        with open(self._file, "rb", closefd=False) as lines:
            for number, line in enumerate(iter(lambda: lines.readline(MAX_LINE), b""), 1):
                if self.roots and self._is_cut_short(line):
                    os.truncate(self._file, end)  # a new row replaces it
                    return
                if not (row := _row(line)):
                    raise ProgramError(f"{self._path}, line {number}: not a row of a repository")
                if row["since"] != self._since:
                    old = row["since"]
                    raise ProgramError(f"{self._path} has rows since {old}, not {self._since}")
                end += len(line)
                self.roots.add(row["root"])
                self.failed += "error" in row

    def _is_cut_short(self, line: bytes) -> bool:
        """Whether this is a row whose writer was killed."""
        begin = json.dumps({"since": self._since, "root": ""})[:-2].encode()
        begins = line.startswith(begin) or begin.startswith(line)
        return begins and line[-1:] != b"\n" and len(line) < MAX_LINE


def _row(line: bytes) -> Row | None:
    try:
        row = json.loads(line)
    except (ValueError, RecursionError):
        return None
    is_row = line[-1:] == b"\n" and isinstance(row, dict) and {*row} in SHAPES
    return row if is_row and all(type(row[name]) is TYPES[name] for name in row) else None
