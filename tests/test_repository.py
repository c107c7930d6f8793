"""Repository roots, branch names, wiki directories and revision queries."""

from datetime import datetime, timedelta, timezone
from itertools import product
from pathlib import Path
from types import ModuleType

import pytest
from conftest import Repository
from hypothesis import given
from hypothesis import strategies as st
from twin import assert_alike, native, outcome, plain


@pytest.fixture
def tree(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """Make a directory with a repository in `r` and none around it; work in it."""
    for name in ("r/.git/hooks", "r/a/b", "r/dangling", "file", "outside/deep"):
        (tmp_path / name).mkdir(parents=True)
    (tmp_path / "r/dangling/.git").symlink_to("nowhere")
    (tmp_path / "r/a/readme").touch()
    (tmp_path / "link").symlink_to("r")
    (tmp_path / "file/.git").write_text("gitdir: /nowhere")
    monkeypatch.chdir(tmp_path)
    return tmp_path


ROOTS = {
    "r": ["r", "r/a/b", "r/.git/hooks", "r/none/such", "r/a/readme", "r/dangling"],
    "r/a/..": ["r/a/../b"],
    "link": ["link/a"],
    "file": ["file"],
    None: ["outside/deep", "/"],
}


@pytest.mark.parametrize(("root", "start"), [(root, s) for root in ROOTS for s in ROOTS[root]])
def test_the_root_is_the_nearest_directory_above_that_has_a_git_entry(
    tree: Path, root: str | None, start: str
) -> None:
    for path in (Path(start), tree / start):
        assert str(native.find_git_root(path)) == str(root and tree / root)


def test_without_a_start_the_search_begins_where_the_process_works(
    tree: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    assert native.find_git_root() is None
    assert native.find_repo_root() == tree
    monkeypatch.chdir("r/a")
    assert native.find_git_root() == native.find_repo_root() == tree / "r"
    (tree / "gone").mkdir()
    monkeypatch.chdir(tree / "gone")
    (tree / "gone").rmdir()
    for find in (native.find_git_root, native.find_repo_root):
        with pytest.raises(FileNotFoundError):
            find()


def test_the_search_tests_each_candidate_once_and_stops_at_the_first_hit(tree: Path) -> None:
    tested = []

    class Watched(type(tree)):
        def exists(self) -> bool:
            tested.append(str(self))
            if self.parent.name == "locked":
                raise PermissionError(str(self))
            return super().exists()

    assert type(native.find_git_root(Watched("r/a/b"))) is Watched
    assert tested == [f"{tree}/r/{below}.git" for below in ("a/b/", "a/", "")]
    with pytest.raises(PermissionError):
        native.find_git_root(Watched("/locked/a"))


@pytest.mark.parametrize("start", ["r", b"r", 5, False, Path])
def test_a_start_that_is_no_path_fails_as_in_python(start: object) -> None:
    assert_alike("find_git_root", start)
    assert_alike("wiki_directory", start, "main")


def test_worktrees_and_submodules_are_roots(repository: Repository, tmp_path: Path) -> None:
    repository.commit({"a": "1"})
    repository.git("worktree", "add", "--quiet", "../tree", "-b", "topic")
    allowed = ("-c", "protocol.file.allow=always")
    repository.git(*allowed, "submodule", "--quiet", "add", str(repository.root), "sub")
    for root in (tmp_path / "tree", repository.root / "sub"):
        assert (root / ".git").is_file()
        assert native.find_git_root(root / "below") == root
    assert native.resolve_display_branch(tmp_path / "tree") == "topic"


SPELLINGS = {
    "main": ["  main\n", "\u3000origin/main\x1c\x85", "refs/heads/main", "origin/origin/main"],
    "x/é": ["refs/remotes/origin/x/é", "origin/refs/heads/x/é", "remotes/refs/heads/x/é"],
    "feature/origin/x": ["feature/origin/x"],
    "refs/tags/stable": ["refs/tags/stable"],
    "Origin/main": ["Origin/main"],
    " main": ["origin/ main"],
    None: ["refs/heads/", "  ", "", None],
}


def test_equivalent_spellings_of_a_branch_have_one_short_form(either: ModuleType) -> None:
    for short, spellings in SPELLINGS.items():
        assert {either.normalize_branch_name(name) for name in spellings} == {short}


@pytest.mark.parametrize(
    ("branch", "directory"),
    [
        ("feature/x\\y", "feature__x__y"),
        ("fix: issue #12-.", "fix__issue__12-."),
        ("e\u0301·\xa0\u200d", "e____"),
        ("é日٣²½Ⅷ😀\ud800", "é日٣²½Ⅷ__"),
        ("é" * 99 + "/", "é" * 99 + "_"),
        ("/" * 60, "_" * 100),
        ("..", ".."),
        ("", "default"),
    ],
)
def test_a_branch_has_one_directory(either: ModuleType, branch: str, directory: str) -> None:
    assert either.sanitize_branch_name(branch) == directory
    lore_book = Path("some/root/memory/lore-book")
    assert either.wiki_root(Path("some/root")) == lore_book
    assert str(either.wiki_directory(Path("some/root"), branch)) == f"{lore_book}/{directory}"


PREFIXES = ["refs/heads/", "refs/remotes/", "remotes/", "origin/", "/", " ", "\x85", "\\", "Refs"]


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

    def __getitem__(self, key: object) -> str:
        return Shout(super().__getitem__(key) + ".")


@pytest.mark.parametrize("odd", [Shout("a/b"), Shout(""), b"a/b", 5, 0, ["a"], [], {"a": 1}])
def test_objects_that_are_no_plain_str_get_the_calls_of_the_python_statement(odd: object) -> None:
    for name in ("normalize_branch_name", "sanitize_branch_name"):
        assert_alike(name, odd)
    for name in ("branch_exists", "resolve_commit"):
        assert_alike(name, "/", odd)


MOMENT = datetime(2026, 9, 1, 7, 5, 9, 999999, timezone(timedelta(hours=5)))
QUERIES = [
    ("resolve_display_branch", (), ["branch --show-current"]),
    ("get_head_commit", (), ["rev-parse --short HEAD"]),
    ("get_head_commit", (None,), ["rev-parse HEAD"]),
    (
        "get_default_branch",
        (),
        [
            "symbolic-ref refs/remotes/origin/HEAD",
            "rev-parse --verify main",
            "rev-parse --verify master",
        ],
    ),
    ("branch_exists", ("",), ["rev-parse --verify ", "rev-parse --verify origin/"]),
    ("branch_exists", (" -a",), ["rev-parse --verify  -a", "rev-parse --verify origin/ -a"]),
    ("branch_exists", ("origin/a",), ["rev-parse --verify origin/a"]),
    ("resolve_commit", (" main",), ["rev-parse --verify --quiet  main^{commit}"]),
    ("resolve_commit", (None,), []),
    ("resolve_commit", ("",), []),
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


def test_an_unborn_branch_has_a_name_but_no_commit(repository: Repository) -> None:
    root = repository.root
    assert native.resolve_display_branch(root) == native.get_default_branch(root) == "main"
    assert native.get_head_commit(root) is native.resolve_commit(root, "HEAD") is None
    assert native.branch_exists(root, "main") is False
    with pytest.raises(native.GitError, match="unknown revision"):
        native.count_commits(root, "main", "main")


def test_the_queries_read_a_real_history(repository: Repository, tmp_path: Path) -> None:
    root = repository.root
    first = repository.commit({"a": "1"}, date="2026-01-01T12:00:00+00:00")
    repository.git("tag", "--annotate", "--message=v1", "v1")
    repository.git("switch", "--quiet", "--create", "topic/é")
    second = repository.commit({"a": "2"}, date="2026-01-02T12:00:00+00:00")
    assert native.get_head_commit(root, short=False) == second
    assert second.startswith(native.get_head_commit(root))
    assert native.resolve_display_branch(root) == "topic/é"
    assert native.resolve_commit(root, "v1") == native.resolve_commit(root, "main") == first
    assert native.resolve_commit(root, "main^{tree}") is None
    assert native.count_commits(root, "main", "topic/é") == 1
    assert native.count_commits(root, "topic/é", "main") == 0
    before = [native.commit_before(root, "HEAD", datetime(2026, 1, day, 12)) for day in (2, 1)]
    assert before == [second, first]
    assert native.commit_before(root, "HEAD", datetime(2026, 1, 1, 11, 59, 59)) is None
    repository.git("checkout", "--quiet", "--detach")
    assert native.resolve_display_branch(root) is None

    clone = tmp_path / "clone"
    repository.git("clone", "--quiet", "--branch=main", str(root), str(clone))
    assert native.branch_exists(clone, "topic/é")
    assert not native.branch_exists(clone, "origin/v1")
    repository.git("-C", str(clone), "remote", "set-head", "origin", "topic/é")
    assert native.get_default_branch(clone) == "topic/é"
    repository.git("branch", "--move", "main", "master")
    assert native.get_default_branch(root) == "master"


def test_outside_of_a_repository_each_query_fails_in_its_own_style(tmp_path: Path) -> None:
    assert native.resolve_display_branch(tmp_path) is native.get_head_commit(tmp_path) is None
    assert native.get_default_branch(tmp_path) == "main"
    assert native.branch_exists(tmp_path, "main") is False
    assert native.resolve_commit(tmp_path, "main") is None
    with pytest.raises(native.GitError, match="not a git repository"):
        native.count_commits(tmp_path, "a", "b")
    with pytest.raises(native.GitError, match="not a git repository"):
        native.commit_before(tmp_path, "a", MOMENT)
