"""Repository roots, branch names, wiki directories, and the commands of the revision queries."""

import shlex
from contextlib import suppress
from datetime import datetime, timedelta, timezone
from enum import Enum
from pathlib import Path
from types import ModuleType

import pytest
from compare import native
from conftest import FakeGitResults

# Where the search starts, and how many directories above it the root is.
STARTS = {"r": 0, "r/none/such": 2, "r/dangling": 1, "file": 0, "r/a/../b": 1, "link/a": 1}


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


def test_white_space_and_every_leading_prefix_of_a_name_are_removed(
    module: ModuleType,
) -> None:
    assert module.normalize_branch_name("\u3000origin/refs/heads/x/é\x85") == "x/é"


def test_a_name_that_does_not_change_is_returned_itself(module: ModuleType) -> None:
    name = "x/é"
    assert module.normalize_branch_name(name) is name
    assert module._patch_path(name) is name


DIRECTORY_NAMES = {"fix: é/y\\٣²-.": "fix__é__y__٣²-.", "/" * 60: "_" * 100, "": "default"}


@pytest.mark.parametrize("branch", DIRECTORY_NAMES)
def test_a_branch_name_becomes_a_directory_name(module: ModuleType, branch: str) -> None:
    directory = Path("some/place/memory/lore-book") / DIRECTORY_NAMES[branch]
    assert module.wiki_directory(Path("some/place"), branch) == directory


class Branch(str, Enum):  # noqa: UP042 - a StrEnum would be written as its characters
    """Branch names that format() writes as Branch.MAIN: a command must have their characters."""

    MAIN = "main"
    OTHER = "origin/x"


RAW_DIFF = "diff --raw --numstat -M -z --no-textconv"
LOG = "log '--since=2026-09-01 07:05:09'"
LOG_OPTIONS = "--no-show-signature --format=%x1e%ct --raw --numstat -M -z"
PATCH = "-c core.quotepath=off --literal-pathspecs diff --no-color --no-ext-diff --no-textconv"
PATCH += " --no-prefix -M -U0"
MOMENT = datetime(2026, 9, 1, 7, 5, 9, 999999, timezone(timedelta(hours=5)))
# The git commands of each call, as typed in a shell. Where one fails, the next is run.
QUERIES = {
    "resolve_display_branch('r')": ["branch --show-current"],
    "get_head_commit('r', short='no')": ["rev-parse --short HEAD"],
    "get_head_commit('r', short=0)": ["rev-parse HEAD"],
    "get_default_branch('r')": [
        "symbolic-ref refs/remotes/origin/HEAD",
        "rev-parse --verify main",
        "rev-parse --verify master",
    ],
    "branch_exists('r', ' -a')": ["rev-parse --verify ' -a'", "rev-parse --verify 'origin/ -a'"],
    "branch_exists('r', Branch.MAIN)": [
        "rev-parse --verify main",
        "rev-parse --verify origin/main",
    ],
    "branch_exists('r', Branch.OTHER)": ["rev-parse --verify origin/x"],
    "resolve_commit('r', Branch.MAIN)": ["rev-parse --verify --quiet main^{commit}"],
    "resolve_commit('r', '--all')": [],
    "resolve_commit('r', None)": [],
    "count_commits('r', Branch.MAIN, 5)": ["rev-list --count main..5"],
    "commit_before('r', '-x', MOMENT)": ["rev-list -1 '--before=2026-09-01 07:05:09' -x"],
    "diff_file_changes('r', Branch.MAIN, 'b c')": [f"{RAW_DIFF} 'main...b c'"],
    "log_commit_changes('r', since=MOMENT, ref=None, max_commits=0)": [
        f"{LOG} --max-count=0 {LOG_OPTIONS}"
    ],
    "log_commit_changes('r', since=MOMENT, ref='', max_commits='-5')": [
        f"{LOG} --max-count=-5 {LOG_OPTIONS} ''"
    ],
    "diff_line_spans('r', 'a', 'b', merge_base=1)": [f"{PATCH} --diff-filter=MR a...b"],
    "diff_line_spans('r', 'a', 'b', merge_base=[], paths='xy', diff_filter=Branch.MAIN)": [
        f"{PATCH} --diff-filter=main a b -- x y"
    ],
}


@pytest.mark.parametrize("call", QUERIES)
def test_each_query_runs_exactly_these_commands(
    module: ModuleType, fake_git_results: FakeGitResults, call: str
) -> None:
    commands = [shlex.split(command) for command in QUERIES[call]]
    runs = fake_git_results(*[("", "", 1) for _ in commands])
    with suppress(module.GitError):
        eval(call, {"Branch": Branch, "MOMENT": MOMENT}, vars(module))
    assert [run.args[1] for run in runs] == commands
