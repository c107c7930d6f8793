"""Repository roots, branch names, wiki directories, and the commands of the revision queries."""

import shlex
from datetime import datetime, timedelta, timezone
from enum import Enum
from pathlib import Path
from types import ModuleType
from typing import Any, NamedTuple

import pytest
from compare import native
from conftest import FakeGitResults
from odd_objects import EqualsReturnsYes, RaisesStopIteration

# Where the search starts, and how many directories above it the root is.
STARTS = {
    "r": 0,
    "r/a/b": 2,
    "r/.git/hooks": 2,
    "r/none/such": 2,
    "r/dangling": 1,
    "file": 0,
    "r/a/../b": 1,
    "link/a": 1,
}


@pytest.fixture
def directories(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """Make directories with entries named .git, and change to the one that holds them all."""
    for name in ("r/.git/hooks", "r/a/b", "r/dangling", "file"):
        (tmp_path / name).mkdir(parents=True)
    (tmp_path / "r/dangling/.git").symlink_to("nowhere")
    (tmp_path / "link").symlink_to("r")
    (tmp_path / "file/.git").touch()
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.mark.parametrize("start", STARTS)
def test_the_root_is_the_nearest_directory_above_with_a_git_entry(
    directories: Path, start: str
) -> None:
    absolute = directories / start
    root = [absolute, *absolute.parents][STARTS[start]]
    assert native.find_git_root(absolute) == root
    assert native.find_git_root(Path(start)) == root


def test_the_search_starts_in_the_working_directory(
    directories: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir("r/a")
    assert native.find_git_root() == directories / "r"
    assert native.find_repo_root() == directories / "r"


def test_outside_of_a_repository_the_working_directory_stands_for_the_root(
    directories: Path,
) -> None:
    assert native.find_git_root() is None
    assert native.find_git_root(Path("/")) is None
    assert native.find_repo_root() == directories


def test_a_branch_name_is_shortened_as_long_as_it_has_a_prefix(either: ModuleType) -> None:
    assert either.normalize_branch_name("\u3000origin/refs/heads/x/é\x85") == "x/é"


def test_a_name_that_does_not_change_is_returned_itself(either: ModuleType) -> None:
    name = "x/é"
    assert either.normalize_branch_name(name) is name
    assert either._patch_path(name) is name


DIRECTORY_NAMES = {"fix: é/y\\٣²-.": "fix__é__y__٣²-.", "/" * 60: "_" * 100, "": "default"}


@pytest.mark.parametrize("branch", DIRECTORY_NAMES)
def test_a_branch_name_becomes_a_directory_name(either: ModuleType, branch: str) -> None:
    directory = Path("some/place/memory/lore-book") / DIRECTORY_NAMES[branch]
    assert either.wiki_directory(Path("some/place"), branch) == directory


STOPPING_ARGUMENTS = {
    "sanitize_branch_name": (RaisesStopIteration(),),
    "count_commits": (Path("r"), "main", RaisesStopIteration()),
}


@pytest.mark.parametrize("name", STOPPING_ARGUMENTS)
def test_a_stop_iteration_of_an_argument_is_raised(either: ModuleType, name: str) -> None:
    with pytest.raises(StopIteration):
        getattr(either, name)(*STOPPING_ARGUMENTS[name])


def test_branch_exists_returns_a_bool(either: ModuleType, fake_git_results: FakeGitResults) -> None:
    fake_git_results(("", "", 1), ("", "", EqualsReturnsYes()))
    assert either.branch_exists(Path("r"), "main") is True


class Branch(str, Enum):  # noqa: UP042 - a StrEnum would be written as its characters
    """Branch names that format() writes as Branch.MAIN: an argument must use their characters."""

    MAIN = "main"
    OTHER = "origin/x"


class Query(NamedTuple):
    """A query, the git commands it runs, as typed in a shell, and whether git fails each time."""

    name: str
    arguments: dict[str, Any]
    commands: tuple[str, ...]
    git_fails: bool


def query(name: str, /, *commands: str, git_fails: bool = False, **arguments: Any) -> Query:
    return Query(name, arguments, commands, git_fails)


RAW_DIFF = "diff --raw --numstat -M -z --no-textconv"
LOG = "log '--since=2026-09-01 07:05:09'"
LOG_OPTIONS = "--no-show-signature --format=%x1e%ct --raw --numstat -M -z"
PATCH = "-c core.quotepath=off --literal-pathspecs diff --no-color --no-ext-diff --no-textconv"
PATCH += " --no-prefix -M -U0"
MOMENT = datetime(2026, 9, 1, 7, 5, 9, 999999, timezone(timedelta(hours=5)))
QUERIES = {
    "the branch": query("resolve_display_branch", "branch --show-current"),
    "the short head": query("get_head_commit", "rev-parse --short HEAD", short="no"),
    "the long head": query("get_head_commit", "rev-parse HEAD", short=0),
    "the default branch": query(
        "get_default_branch",
        "symbolic-ref refs/remotes/origin/HEAD",
        "rev-parse --verify main",
        "rev-parse --verify master",
        git_fails=True,
    ),
    "a branch of odd characters": query(
        "branch_exists",
        "rev-parse --verify ' -a'",
        "rev-parse --verify 'origin/ -a'",
        branch=" -a",
        git_fails=True,
    ),
    "an empty branch": query(
        "branch_exists",
        "rev-parse --verify ''",
        "rev-parse --verify origin/",
        branch="",
        git_fails=True,
    ),
    "a branch of origin": query(
        "branch_exists", "rev-parse --verify origin/a", branch="origin/a", git_fails=True
    ),
    "a branch of an enumeration": query(
        "branch_exists",
        "rev-parse --verify main",
        "rev-parse --verify origin/main",
        branch=Branch.MAIN,
        git_fails=True,
    ),
    "a commit of odd characters": query(
        "resolve_commit", "rev-parse --verify --quiet ' main^{commit}'", name=" main"
    ),
    "a commit of an enumeration": query(
        "resolve_commit", "rev-parse --verify --quiet main^{commit}", name=Branch.MAIN
    ),
    "a commit that looks like an option": query("resolve_commit", name="--all"),
    "a commit without a name": query("resolve_commit", name=""),
    "None for a commit": query("resolve_commit", name=None),
    "a count": query("count_commits", "rev-list --count '-a..b '", base="-a", head="b "),
    "a count between an enumeration and a number": query(
        "count_commits", "rev-list --count main..5", base=Branch.MAIN, head=5
    ),
    "a commit before a moment": query(
        "commit_before", "rev-list -1 '--before=2026-09-01 07:05:09' -x", ref="-x", moment=MOMENT
    ),
    "changed files": query("diff_file_changes", f"{RAW_DIFF} '-a...b c'", base="-a", head="b c"),
    "changed files between enumerations": query(
        "diff_file_changes", f"{RAW_DIFF} main...origin/x", base=Branch.MAIN, head=Branch.OTHER
    ),
    "no commits of HEAD": query(
        "log_commit_changes",
        f"{LOG} --max-count=0 {LOG_OPTIONS}",
        since=MOMENT,
        ref=None,
        max_commits=0,
    ),
    "commits of an empty name": query(
        "log_commit_changes",
        f"{LOG} --max-count=-5 {LOG_OPTIONS} ''",
        since=MOMENT,
        ref="",
        max_commits="-5",
    ),
    "lines since the merge base": query(
        "diff_line_spans", f"{PATCH} --diff-filter=MR a...b", base="a", head="b", merge_base=1
    ),
    "lines of some paths": query(
        "diff_line_spans",
        f"{PATCH} --diff-filter=main a b -- x y",
        base="a",
        head="b",
        merge_base=[],
        paths="xy",
        diff_filter=Branch.MAIN,
    ),
}


@pytest.mark.parametrize("query", QUERIES.values(), ids=QUERIES)
def test_each_query_runs_exactly_these_commands(
    either: ModuleType, fake_git_results: FakeGitResults, query: Query
) -> None:
    calls = fake_git_results(*[("", "", int(query.git_fails)) for _ in query.commands])
    getattr(either, query.name)(Path("r"), **query.arguments)
    assert [call.args[1] for call in calls] == list(map(shlex.split, query.commands))
