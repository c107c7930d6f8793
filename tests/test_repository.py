"""Repository roots, branch names, wiki directories and revision queries."""

from datetime import datetime, timedelta, timezone
from itertools import product
from pathlib import Path
from types import ModuleType

import pytest
from compare import assert_alike, native, outcome, plain
from conftest import Repository
from hypothesis import given
from hypothesis import strategies as st

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
    assert either.normalize_branch_name("\u3000origin/refs/heads/x/é\x85") == "x/é"
    lore_book = Path("some/place/memory/lore-book")
    directories = {"fix: é/y\\٣²-.": "fix__é__y__٣²-.", "/" * 60: "_" * 100, "": "default"}
    for branch, directory in directories.items():
        assert either.wiki_directory(Path("some/place"), branch) == lore_book / directory


PREFIXES = ["refs/heads/", "refs/remotes/", "remotes/", "origin/", "/", " ", "\x85", "\\", "Refs"]
PREFIXES += ["é" * 99, "日" * 100, "😀"]


@given(st.lists(st.sampled_from(PREFIXES) | st.text(max_size=40), max_size=8).map("".join))
def test_any_branch_name_is_read_as_python_reads_it(name: str) -> None:
    assert_alike("normalize_branch_name", name)
    assert_alike("sanitize_branch_name", name)


class Shout(str):
    """A str that answers in its own way."""

    def strip(self, *_args: str) -> "Shout":
        return Shout("origin/" + self.upper())

    def replace(self, old: str, new: str, *_count: int) -> "Shout":
        return Shout(super().replace(old, f"{new}!"))


@pytest.mark.parametrize("odd", [Shout("a/b"), Shout(""), b"a/b", 5, False, ["a"], Path, {"a": 1}])
def test_objects_of_other_types_get_the_calls_of_the_python_statement(odd: object) -> None:
    for name in ("normalize_branch_name", "sanitize_branch_name", "find_git_root"):
        assert_alike(name, odd)
    for name in ("branch_exists", "resolve_commit"):
        assert_alike(name, "/", odd)
    assert_alike("wiki_directory", odd, "main")


MOMENT = datetime(2026, 9, 1, 7, 5, 9, 999999, timezone(timedelta(hours=5)))
VERIFY = "rev-parse --verify "
DEFAULTS = ["symbolic-ref refs/remotes/origin/HEAD", f"{VERIFY}main", f"{VERIFY}master"]
QUERIES = [
    ("resolve_display_branch", (), ["branch --show-current"]),
    ("get_head_commit", (), ["rev-parse --short HEAD"]),
    ("get_head_commit", (None,), ["rev-parse HEAD"]),
    ("get_default_branch", (), DEFAULTS),
    ("branch_exists", (" -a",), [f"{VERIFY} -a", f"{VERIFY}origin/ -a"]),
    ("branch_exists", ("origin/a",), [f"{VERIFY}origin/a"]),
    ("resolve_commit", (" main",), ["rev-parse --verify --quiet  main^{commit}"]),
    ("resolve_commit", ("--all",), []),
    ("count_commits", ("-a", "b "), ["rev-list --count -a..b "]),
    ("commit_before", ("-x", MOMENT), ["rev-list -1 --before=2026-09-01 07:05:09 -x"]),
]
ANSWERS = [("٣\n", "", 0), (" \xa0\n", "", 0.0), ("out", " said ", 128), (None, "", 1)]
ANSWERS += [("refs/remotes/origin/refs/remotes/origin/x\n", "", False)]


@pytest.mark.parametrize(("name", "args", "commands"), QUERIES)
def test_each_query_runs_these_commands_and_reads_their_answers_as_python_does(
    monkeypatch: pytest.MonkeyPatch, name: str, args: tuple[object, ...], commands: list[str]
) -> None:
    longest: list[str] = []
    for answers in product(ANSWERS, repeat=max(1, len(commands))):
        told = []
        for module in (native, plain):
            calls, left = [], iter(answers)
            run = lambda _root, args, calls=calls, left=left: calls.append(args) or next(left)  # noqa: E731
            monkeypatch.setattr(module, "run_git_command", run)
            told.append((outcome(getattr(module, name), Path("r"), *args), calls))
        assert told[0] == told[1]
        longest = max(longest, [" ".join(call) for call in told[0][1]], key=len)
    assert longest == commands


def test_where_there_is_no_commit_each_query_fails_in_its_own_style(
    repository: Repository, tmp_path: Path
) -> None:
    unborn, nothing = (repository.root, "unknown revision"), (tmp_path, "not a git repository")
    for root, error in (unborn, nothing):
        assert native.get_default_branch(root) == "main"
        assert native.get_head_commit(root) is native.resolve_commit(root, "HEAD") is None
        assert native.branch_exists(root, "main") is False
        with pytest.raises(native.GitError, match=error):
            native.count_commits(root, "main", "main")


def test_the_queries_read_a_real_history(repository: Repository, tmp_path: Path) -> None:
    root = repository.root
    first = repository.commit({"a": "1"}, date="2026-01-01T12:00:00+00:00")
    repository.git("tag", "--annotate", "--message=v1", "v1")
    repository.git("switch", "--quiet", "--create", "topic/é")
    second = repository.commit({"a": "2"}, date="2026-01-02T12:00:00+00:00")
    assert native.get_head_commit(root, short=False) == second
    assert second.startswith(native.get_head_commit(root))
    assert native.resolve_commit(root, "v1") == native.resolve_commit(root, "main") == first
    assert native.resolve_commit(root, "main^{tree}") is None
    assert native.count_commits(root, "main", "topic/é") == 1
    for moment, commit in ((datetime(2026, 1, 1, 12), first), (datetime(2026, 1, 1, 11), None)):
        assert native.commit_before(root, "HEAD", moment) == commit
    repository.git("checkout", "--quiet", "--detach")
    assert native.resolve_display_branch(root) is None

    repository.git("worktree", "add", "--quiet", "../tree", "v1", "-b", "tree")
    assert native.find_git_root(tmp_path / "tree/below") == tmp_path / "tree"
    assert native.resolve_display_branch(tmp_path / "tree") == "tree"
    clone = tmp_path / "clone"
    repository.git("clone", "--quiet", "--branch=main", str(root), str(clone))
    assert native.branch_exists(clone, "topic/é")
    assert not native.branch_exists(clone, "origin/v1")
    repository.git("-C", str(clone), "remote", "set-head", "origin", "topic/é")
    assert native.get_default_branch(clone) == "topic/é"
