"""Findings in SARIF 2.1.0, the format that linters, compilers and scanners share."""

import json
import math
import os
import posixpath
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from pathlib import Path
from typing import Any, NamedTuple, Protocol
from urllib.parse import unquote, urljoin, urlsplit

type Json = dict[str, Any]
type Key = tuple[str | None, str | None, int | None]  # what a location says of its file


class Lines(Protocol):
    """Lines of a file."""

    def overlaps(self, start: int, end: float) -> bool:
        """Whether a line from start to end is among them."""


LEVELS = {level: level for level in ("none", "note", "warning", "error")}


class SarifError(Exception):
    """Why a text cannot be read as SARIF."""


class Finding(NamedTuple):
    """A result of a run, at the first of its places that was looked for."""

    path: str  # relative to the repository
    line: int
    rule: str
    level: str
    message: str
    result: Json  # as it was read


def read(text: bytes) -> Json:
    """The document.

    Raises:
        SarifError: It is not a SARIF 2.1.0 document.
    """
    try:
        decoded = text.decode(json.detect_encoding(text), "surrogatepass")
        del text  # a document can be large, and what is read from it takes several times as much
        document = json.loads(decoded)
    except (ValueError, RecursionError) as error:
        raise SarifError(f"not JSON: {error}") from error
    if not isinstance(document, dict) or not isinstance(document.get("runs"), list):
        raise SarifError("not SARIF: no list of runs")
    if document.get("version") != "2.1.0":
        raise SarifError(f"unsupported SARIF version {document.get('version')!r}, expected 2.1.0")
    return document


class Run:
    """The findings of one run of a tool."""

    def __init__(self, run: Json, root: Path) -> None:
        """Reads which files below a directory the findings are about.

        Raises:
            SarifError: The run does not have SARIF's structure.
        """
        self._root = os.path.realpath(root)
        self._paths: dict[Key, str | None] = {}
        with _structure_errors():
            self._bases: Json = run.get("originalUriBaseIds", {})
            self._artifacts: list[Json] = run.get("artifacts", [])
            self._rules: list[Json] = run["tool"]["driver"].get("rules", [])
            self._results: list[Json] = run.get("results") or []
            for result in self._results:
                for location in result.get("locations", ()):
                    if (key := _key(location)) not in self._paths:
                        self._paths[key] = self._path(*key)

    @property
    def paths(self) -> set[str]:
        """The files that the findings are about, relative to the directory."""
        return {path for path in self._paths.values() if path is not None}

    def at(self, lines: Mapping[str, Lines]) -> Iterator[Finding]:
        """The findings on some lines of files, in their order.

        Raises:
            SarifError: A finding does not have SARIF's structure.
        """
        with _structure_errors():
            for result in self._results:
                for location in result.get("locations", ()):
                    path = self._paths[_key(location)]
                    if path in lines and (line := _first_line(location, lines[path])):
                        rule, level = self._rule_and_level(result)
                        yield Finding(path, line, rule, level, _message(result), result)
                        break

    def _rule_and_level(self, result: Json) -> tuple[str, str]:
        """The rule's id and the level, by default that of the rule."""
        reference = result.get("rule", {})
        number = result.get("ruleIndex", reference.get("index", -1))
        rule = self._rules[number] if number >= 0 else {}
        name = result.get("ruleId") or reference.get("id") or rule.get("id", "-")
        usual = rule.get("defaultConfiguration", {}).get("level", "warning")
        return _text(name), LEVELS[result.get("level") or usual]

    def _path(self, uri: str | None, base: str | None, number: int | None) -> str | None:
        """The file that a location names, if it names one, relative to the directory."""
        if uri is None and number is not None and number >= 0:
            artifact = self._artifacts[number]["location"]
            uri, base = artifact.get("uri"), artifact.get("uriBaseId")
        if uri is None:
            return None
        parts = urlsplit(urljoin(self._base(base), uri))
        if parts.scheme not in {"", "file"} or parts.netloc not in {"", "localhost"}:
            return None
        # Resolve only the folder: a finding in a symbolic link is about the link.
        folder, name = posixpath.split(posixpath.join(self._root, unquote(parts.path)))
        return posixpath.relpath(posixpath.join(os.path.realpath(folder), name), self._root)

    def _base(self, name: str | None) -> str:
        """The URI of a base, which may be relative to another base; empty for the repository."""
        names: list[str] = []
        while name in self._bases and name not in names:
            names.append(name)
            name = self._bases[name].get("uriBaseId")
        uri = ""
        for each in reversed(names):
            if below := self._bases[each].get("uri"):
                uri = urljoin(uri, below.rstrip("/") + "/")
        return uri


@contextmanager
def _structure_errors() -> Iterator[None]:
    """Raise SarifError for what reading a document of another structure raises."""
    try:
        yield
    except (AttributeError, IndexError, KeyError, TypeError, ValueError) as error:
        raise SarifError(f"not SARIF: {type(error).__name__} in a run: {error}") from error


def _key(location: Json) -> Key:
    file = location.get("physicalLocation", {}).get("artifactLocation", {})
    return file.get("uri"), file.get("uriBaseId"), file.get("index")


def _first_line(location: Json, lines: Lines) -> int | None:
    """Where a finding begins, if it is on one of the lines; without a region it is on all."""
    region = location["physicalLocation"].get("region", {})
    start = region.get("startLine", 1)
    end = region.get("endLine", region.get("startLine", math.inf))
    return start if lines.overlaps(start, end) else None


def _message(result: Json) -> str:
    message = result["message"]
    return _text(message.get("text") or message.get("markdown") or message.get("id", ""))


def _text(value: Any) -> str:
    if not isinstance(value, str):
        raise TypeError(f"{value!r} is not a string")
    return value
