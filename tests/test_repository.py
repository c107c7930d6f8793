"""Repository roots, branch names, wiki directories and revision queries."""

from datetime import datetime, timedelta, timezone
from enum import Enum
from pathlib import Path
from types import ModuleType
from typing import Any

import pytest
from compare import native
from conftest import Runs

# Where the search starts, and how many directories up the nearest one with an entry is.
STARTS = {"r": 0, "r/a/b": 2, "r/.git/hooks": 2, "r/none/such": 2, "r/dangling": 1, "file": 0}
STARTS |= {"r/a/../b": 1, "link/a": 1}


def test_the_root_is_the_nearest_directory_above_that_has_a_git_entry(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    for name in ("r/.git/hooks", "r/a/b", "r/dangling", "file"):
        (tmp_path / name).mkdir(parents=True)
    (tmp_path / "r/dangling/.git").symlink_to("nowhere")
    (tmp_path / "link").symlink_to("r")
    (tmp_path / "file/.git").touch()
    monkeypatch.chdir(tmp_path)
    for start, up in STARTS.items():
        root = [tmp_path / start, *(tmp_path / start).parents][up]
        assert native.find_git_root(Path(start)) == native.find_git_root(tmp_path / start) == root
    assert native.find_git_root() is native.find_git_root(Path("/")) is None
    assert native.find_repo_root() == tmp_path
    monkeypatch.chdir("r/a")
    assert native.find_git_root() == native.find_repo_root() == tmp_path / "r"


def test_a_branch_has_one_short_name_and_one_directory(either: ModuleType) -> None:
    assert either.normalize_branch_name("\u3000origin/refs/heads/x/é\x85") == (name := "x/é")
    assert either.normalize_branch_name(name) is either._patch_path(name) is name
    lore_book = Path("some/place/memory/lore-book")
    directories = {"fix: é/y\\٣²-.": "fix__é__y__٣²-.", "/" * 60: "_" * 100, "": "default"}
    for branch, directory in directories.items():
        assert either.wiki_directory(Path("some/place"), branch) == lore_book / directory


# Their characters count, whatever they call themselves.
MAIN, OTHER = Enum("Branch", {"MAIN": "main", "OTHER": "origin/x"}, type=str)


def query(name: str, /, *commands: str, **asked: object) -> object:
    """A row: what a query is asked, and the commands it runs, with ~ for a blank in an argument."""
    split = [[arg.replace("~", " ") for arg in command.split(" ")] for command in commands]
    return pytest.param(name, split, asked, id=f"{name} {[*asked.values()]}")


VERIFY = "rev-parse --verify "
RANGE = "diff --raw --numstat -M -z --no-textconv "
PATCH = f"-c core.quotepath=off --literal-pathspecs diff {' '.join(native._PATCH_OPTIONS)} "
PATCH += "--diff-filter="
SPANS, ENDS = "diff_line_spans", {"base": "a", "head": "b"}
LOG = "log --since=2026-09-01~07:05:09 --max-count={} --no-show-signature --format=%x1e%ct --raw "
LOG += "--numstat -M -z"
AT = datetime(2026, 9, 1, 7, 5, 9, 999999, timezone(timedelta(hours=5)))
ORIGIN = "symbolic-ref refs/remotes/origin/HEAD"
QUERIES = [
    query("resolve_display_branch", "branch --show-current"),
    query("get_head_commit", "rev-parse --short HEAD", short="no"),
    query("get_head_commit", "rev-parse HEAD", short=0),
    query("get_default_branch", ORIGIN, f"{VERIFY}main", f"{VERIFY}master"),
    query("branch_exists", f"{VERIFY}~-a", f"{VERIFY}origin/~-a", branch=" -a"),
    query("branch_exists", VERIFY, f"{VERIFY}origin/", branch=""),
    query("branch_exists", f"{VERIFY}origin/a", branch="origin/a"),
    query("branch_exists", f"{VERIFY}main", f"{VERIFY}origin/main", branch=MAIN),
    query("resolve_commit", f"{VERIFY}--quiet ~main^{{commit}}", name=" main"),
    query("resolve_commit", f"{VERIFY}--quiet main^{{commit}}", name=MAIN),
    *(query("resolve_commit", name=name) for name in ("--all", "", None)),
    query("count_commits", "rev-list --count -a..b~", base="-a", head="b "),
    query("count_commits", "rev-list --count main..5", base=MAIN, head=5),
    query("commit_before", "rev-list -1 --before=2026-09-01~07:05:09 -x", ref="-x", moment=AT),
    query("diff_file_changes", f"{RANGE}-a...b~c", base="-a", head="b c"),
    query("diff_file_changes", f"{RANGE}main...origin/x", base=MAIN, head=OTHER),
    query("log_commit_changes", LOG.format(0), since=AT, ref=None, max_commits=0),
    query("log_commit_changes", f"{LOG.format(-5)} ", since=AT, ref="", max_commits="-5"),
    query(SPANS, f"{PATCH}MR a...b", **ENDS, merge_base=1),
    query(SPANS, f"{PATCH}main a b -- x y", **ENDS, merge_base=[], paths="xy", diff_filter=MAIN),
]


@pytest.mark.parametrize(("name", "commands", "asked"), QUERIES)
def test_each_query_runs_exactly_these_commands(
    either: ModuleType, answer_runs: Runs, name: str, commands: list[str], asked: dict[str, Any]
) -> None:
    calls = answer_runs(*[("", "", int(name[:2] in {"ge", "br"}))] * len(commands))
    getattr(either, name)(Path("r"), **asked)
    assert [call.args[1] for call in calls] == commands
