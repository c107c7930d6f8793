"""A file of rows, a line of JSON each, which a later run can go on with."""

import json
from pathlib import Path
from typing import Any


class RowFileError(Exception):
    """Why rows cannot be added to a file."""


class RowFile:
    """The rows of one question, as far as they are known."""

    def __init__(self, path: Path, since: str, *, resume: bool) -> None:
        """Reads the file; what stands in it is either gone on with or refused.

        Raises:
            OSError: The file cannot be read or written.
            RowFileError: It holds rows that this question does not go on with.
        """
        self.answered: set[str] = set()
        self.failed = 0
        self._path = path
        self._since = since
        with path.open("a+b") as file:
            file.seek(0)
            end = 0
            for number, line in enumerate(file, 1):
                if not resume:
                    raise RowFileError(
                        f"{path} has rows already: add --resume or name another file"
                    )
                if not line.endswith(b"\n"):  # whoever wrote it was stopped: it is made again
                    file.truncate(end)
                    break
                end += len(line)
                self._take(number, line)

    def _take(self, number: int, line: bytes) -> None:
        try:
            row = json.loads(line)
            root, since = row["root"], row["since"]
        except (ValueError, TypeError, KeyError) as error:
            raise RowFileError(f"{self._path}, line {number}: no row of a repository") from error
        if since != self._since:
            raise RowFileError(f"{self._path} has the rows since {since}, not {self._since}")
        self.answered.add(root)
        self.failed += "error" in row

    def add(self, row: dict[str, Any]) -> None:
        """Writes a row so that it outlives this process."""
        with self._path.open("ab") as file:
            file.write(json.dumps(row).encode() + b"\n")
