"""The module in plain Python, without native code and without the docstrings.

It defines what is right: the native module must give the same results and errors, and use names and
objects in the same order. The tests and the fuzzer compare the two; the benchmarks time both.
"""

import logging
import re
import subprocess
from collections.abc import Sequence
from dataclasses import dataclass
from datetime import datetime, timedelta
from pathlib import Path
from typing import Any

from orvel_tarnix.utils.process import get_subprocess_hidden_kwargs

logger = logging.getLogger(__name__)

TIME_SPEC_FORMS = (
    "a positive whole number followed by m (minutes), h (hours), d (days) or w (weeks), "
    "such as 7d or 24h, or an ISO date such as 2026-09-01"
)
_RELATIVE_SPEC = re.compile(r"(\d+)([mhdw])")
_SPEC_UNITS = {"m": "minutes", "h": "hours", "d": "days", "w": "weeks"}
_STATUS_BY_LETTER = {
    "A": "added",
    "C": "copied",
    "D": "deleted",
    "M": "modified",
    "R": "renamed",
    "T": "modified",
}
_TWO_PATH_LETTERS = frozenset("RC")
_COMMIT_START = "\x1e"
_PATCH_OPTIONS = ("--no-color", "--no-ext-diff", "--no-textconv", "--no-prefix", "-M", "-U0")
_HUNK_HEADER = re.compile(r"@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@")
_C_ESCAPE = re.compile(r"\\([0-7]{3}|.)", re.DOTALL)
_C_ESCAPES = {"a": "\a", "b": "\b", "f": "\f", "n": "\n", "r": "\r", "t": "\t", "v": "\v"}


class GitError(RuntimeError):
    """A git command failed; the message carries what git said."""


@dataclass(frozen=True)
class FileChange:
    """One file of a diff."""

    path: str
    status: str
    additions: int
    deletions: int
    old_path: str | None = None


@dataclass(frozen=True)
class CommitChanges:
    """The files one commit changed, and when it was committed."""

    timestamp: int
    files: tuple[FileChange, ...]


@dataclass(frozen=True)
class LineSpan:
    """Lines of a file's newer side that a diff touched."""

    start: int
    end: int
    added: bool


def find_git_root(start: Path | None = None) -> Path | None:
    current = (Path.cwd() if start is None else start).absolute()
    for candidate in (current, *current.parents):
        if (candidate / ".git").exists():
            return candidate
    return None


def find_repo_root() -> Path:
    return find_git_root() or Path.cwd()


def resolve_display_branch(repo_root: Path) -> str | None:
    stdout, _, code = run_git_command(repo_root, ["branch", "--show-current"])
    if code == 0 and (branch := stdout.strip()):
        return branch
    return None


def normalize_branch_name(name: str | None) -> str | None:
    if not name:
        return None
    name = name.strip()
    changed = True
    while changed:
        changed = False
        for prefix in ("refs/heads/", "refs/remotes/", "remotes/", "origin/"):
            if name.startswith(prefix):
                name = name[len(prefix) :]
                changed = True
    return name or None


def parse_time_spec(since: str) -> datetime:
    spec = since.strip()
    match = _RELATIVE_SPEC.fullmatch(spec)
    try:
        if match:
            amount = int(match.group(1))
            if amount > 0:
                unit = _SPEC_UNITS[match.group(2)]
                return datetime.now() - timedelta(**{unit: amount})
        elif spec:
            moment = datetime.fromisoformat(spec)
            if moment.tzinfo is not None:
                return moment.astimezone().replace(tzinfo=None)
            return moment
    except ValueError:
        pass
    except OverflowError as error:
        raise ValueError(f"since {since!r} reaches outside the calendar") from error
    raise ValueError(f"since must be {TIME_SPEC_FORMS}; got {since!r}")


def sanitize_branch_name(branch: str) -> str:
    name = branch.replace("/", "__").replace("\\", "__")
    name = "".join([char if char.isalnum() or char in "-_." else "_" for char in name])
    return name[:100] or "default"


def wiki_root(repo_root: Path) -> Path:
    return repo_root / "memory" / "lore-book"


def wiki_directory(repo_root: Path, branch: str) -> Path:
    return wiki_root(repo_root) / sanitize_branch_name(branch)


def run_git_command(repo_root: Path, args: list[str], timeout: int = 30) -> tuple[str, str, int]:
    try:
        result = subprocess.run(
            ["git"] + args,  # noqa: RUF005 - a tuple of arguments must raise
            cwd=str(repo_root),
            capture_output=True,
            encoding="utf-8",
            errors="replace",
            timeout=timeout,
            **get_subprocess_hidden_kwargs(),
        )
        if result.returncode != 0:
            logger.debug(
                "git command failed: args=%s rc=%s stderr=%s",
                args,
                result.returncode,
                result.stderr.strip(),
            )
        return result.stdout, result.stderr, result.returncode
    except subprocess.TimeoutExpired:
        logger.warning("git command timed out after %ss: args=%s", timeout, args)
        return "", "Command timed out", 1
    except FileNotFoundError:
        logger.warning("git executable not found while running args=%s", args)
        return "", "git not found", 1


def get_head_commit(repo_root: Path, short: bool = True) -> str | None:
    args = ["rev-parse", "--short", "HEAD"] if short else ["rev-parse", "HEAD"]
    stdout, _, code = run_git_command(repo_root, args)
    commit = stdout.strip()
    return commit if code == 0 and commit else None


def get_default_branch(repo_root: Path) -> str:
    stdout, _, code = run_git_command(repo_root, ["symbolic-ref", "refs/remotes/origin/HEAD"])
    if code == 0 and (ref := stdout.strip()):
        return ref.removeprefix("refs/remotes/origin/")
    for branch in ("main", "master"):
        _, _, code = run_git_command(repo_root, ["rev-parse", "--verify", branch])
        if code == 0:
            return branch
    return "main"


def branch_exists(repo_root: Path, branch: str) -> bool:
    _, _, code = run_git_command(repo_root, ["rev-parse", "--verify", branch])
    if code == 0:
        return True
    if branch.startswith("origin/"):
        return False
    _, _, code = run_git_command(repo_root, ["rev-parse", "--verify", __joined("origin/", branch)])
    return bool(code == 0)


def get_authors_for_period(repo_root: Path, since: str = "30d") -> list[dict[str, Any]]:
    moment = parse_time_spec(since)
    args = ["shortlog", __joined("--since=", moment.strftime("%Y-%m-%d %H:%M:%S")), "-sne"]
    stdout, stderr, code = run_git_command(repo_root, args)
    if code != 0:
        logger.debug(
            "get_authors_for_period: git shortlog failed rc=%s stderr=%s", code, stderr.strip()
        )
        return []
    authors = []
    for line in stdout.strip().split("\n"):
        if not line:
            continue
        line = line.strip()
        if "\t" not in line:
            continue
        count, rest = line.split("\t", 1)
        commits = int(count.strip())
        if "<" in rest and ">" in rest:
            name, address = rest.split("<", 1)
            name = name.strip()
            email = address.split("<", 1)[0].split(">", 1)[0]
        else:
            name, email = rest, ""
        authors.append({"name": name, "email": email, "commits": commits})
    return authors


_MAX_PATHSPEC_CHARS = 16000


def resolve_commit(repo_root: Path, name: str) -> str | None:
    if not name or name.startswith("-"):
        return None
    args = ["rev-parse", "--verify", "--quiet", __joined(name, "^{commit}")]
    stdout, _, code = run_git_command(repo_root, args)
    commit = stdout.strip()
    return commit if code == 0 and commit else None


def count_commits(repo_root: Path, base: str, head: str) -> int:
    output = _git_output(repo_root, ["rev-list", "--count", __joined(base, "..", head)])
    return int(output.strip() or 0)


def commit_before(repo_root: Path, ref: str, moment: datetime) -> str | None:
    args = ["rev-list", "-1", f"--before={moment:%Y-%m-%d %H:%M:%S}", ref]
    return _git_output(repo_root, args).strip() or None


def diff_file_changes(repo_root: Path, base: str, head: str) -> list[FileChange]:
    fixed = ["diff", "--raw", "--numstat", "-M", "-z", "--no-textconv"]
    return parse_file_changes(_git_output(repo_root, [*fixed, __joined(base, "...", head)]))


def log_commit_changes(
    repo_root: Path, *, since: datetime, ref: str | None, max_commits: int
) -> list[CommitChanges]:
    args = [
        "log",
        f"--since={since:%Y-%m-%d %H:%M:%S}",
        f"--max-count={max_commits}",
        "--no-show-signature",
        "--format=%x1e%ct",
        "--raw",
        "--numstat",
        "-M",
        "-z",
    ]
    if ref is not None:
        args.append(ref)
    return parse_commit_changes(_git_output(repo_root, args))


def diff_line_spans(
    repo_root: Path,
    base: str,
    head: str,
    *,
    merge_base: bool,
    paths: Sequence[str] = (),
    diff_filter: str = "MR",
) -> dict[str, list[LineSpan]]:
    spans: dict[str, list[LineSpan]] = {}
    command = [
        "-c",
        "core.quotepath=off",
        "--literal-pathspecs",
        "diff",
        *_PATCH_OPTIONS,
        __joined("--diff-filter=", diff_filter),
        *([__joined(base, "...", head)] if merge_base else [base, head]),
    ]
    for batch in _path_batches(paths) if paths else [[]]:
        patch = _git_output(repo_root, [*command, "--", *batch] if batch else command)
        spans.update(parse_line_spans(patch))
    return spans


def parse_file_changes(output: str) -> list[FileChange]:
    return _file_changes(output.split("\x00"))


def parse_commit_changes(output: str) -> list[CommitChanges]:
    commits = []
    timestamp = None
    body: list[str] = []
    for token in output.split("\x00"):
        header = token.lstrip("\n")
        if header.startswith(_COMMIT_START):
            if timestamp is not None:
                commits.append(CommitChanges(int(timestamp), tuple(_file_changes(body))))
            timestamp = header[1:].strip()
            body = []
        elif timestamp is not None:
            body.append(token)
    if timestamp is not None:
        commits.append(CommitChanges(int(timestamp), tuple(_file_changes(body))))
    return commits


def parse_line_spans(patch: str) -> dict[str, list[LineSpan]]:
    spans: dict[str, list[LineSpan]] = {}
    path = None
    old_left = new_left = 0
    for line in patch.split("\n"):
        if old_left > 0 or new_left > 0:
            if line.startswith("-"):
                old_left -= 1
            elif line.startswith("+"):
                new_left -= 1
            elif line.startswith(" "):
                old_left -= 1
                new_left -= 1
        elif line.startswith("+++ "):
            path = _patch_path(line[4:])
        elif header := _HUNK_HEADER.match(line):
            old_count = header.group(1)
            old_left = 1 if old_count is None else int(old_count)
            start = int(header.group(2))
            new_count = header.group(3)
            new_left = 1 if new_count is None else int(new_count)
            if path is not None:
                spans.setdefault(path, []).append(_span(start, new_left, old_left))
    return spans


def _span(start: int, new_count: int, old_count: int) -> LineSpan:
    if new_count == 0:
        line = max(start, 1)
        return LineSpan(line, line, False)
    return LineSpan(start, start + new_count - 1, old_count == 0)


def _file_changes(tokens: Sequence[str]) -> list[FileChange]:
    statuses: dict[str, tuple[str, str | None]] = {}
    counts: dict[str, tuple[int, int]] = {}
    cursor = iter(tokens)
    for token in cursor:
        record = token.lstrip("\n")
        if record.startswith(":"):
            letter = record.rpartition(" ")[2][:1]
            old_path = next(cursor, "") if letter in _TWO_PATH_LETTERS else None
            path = next(cursor, "")
            if path:
                statuses[path] = (_STATUS_BY_LETTER.get(letter, "modified"), old_path)
            continue
        fields = record.split("\t", 2)
        if len(fields) != 3:
            continue
        added, deleted, path = fields
        if not path:
            next(cursor, "")
            path = next(cursor, "")
        counts[path] = (_line_count(added), _line_count(deleted))
    changes = []
    for path, (status, old_path) in statuses.items():
        additions, deletions = counts.get(path, (0, 0))
        changes.append(FileChange(path, status, additions, deletions, old_path))
    return changes


def _line_count(field: str) -> int:
    return int(field) if field.isdigit() else 0


def _patch_path(text: str) -> str | None:
    name = text.removesuffix("\t")
    if name == "/dev/null":
        return None
    if len(name) >= 2 and name.startswith('"') and name.endswith('"'):
        return _unquote(name[1:-1])
    return name


def _unquote(text: str) -> str:
    raw = bytearray()
    position = 0
    for escape in _C_ESCAPE.finditer(text):
        raw += text[position : escape.start()].encode("utf-8")
        code = escape.group(1)
        if len(code) == 3:
            raw.append(int(code, 8))
        else:
            raw += _C_ESCAPES.get(code, code).encode("utf-8")
        position = escape.end()
    raw += text[position:].encode("utf-8")
    return raw.decode("utf-8", "replace")


def _path_batches(paths: Sequence[str]) -> list[list[str]]:
    batches: list[list[str]] = [[]]
    length = 0
    for path in paths:
        if batches[-1] and length + len(path) + 1 > _MAX_PATHSPEC_CHARS:
            batches.append([])
            length = 0
        batches[-1].append(path)
        length += len(path) + 1
    return batches


def _git_output(repo_root: Path, args: list[str]) -> str:
    stdout, stderr, code = run_git_command(repo_root, args)
    if code != 0:
        raise GitError(stderr.strip() or f"git exited with code {code!s}")
    return stdout


# Not part of the namespace: names that begin with two underscores are not compared.
def __joined(*parts: object) -> str:
    """Concatenates the parts: of a str its characters, even if its class would format otherwise."""
    return "".join([part if isinstance(part, str) else format(part) for part in parts])
