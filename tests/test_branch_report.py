"""The report on a branch, run as a person runs it on a repository whose contents are known."""

import json
import signal
import subprocess
from dataclasses import replace
from functools import partial

import pytest
from conftest import EXAMPLES, FakeGit, Repository, Run, Start
from example_setup import clone_without_blobs, lines_on_a_terminal
from processes import count_lines, is_running, wait_for
from python_process import PROCESS_LIMIT
from report import text, wording
from report.gather import gather
from shared.terminal import cut

from orvel_tarnix.utils.git_utils import LineSpan

BRANCH = "fix/<b>&co"
ODD_NAME = "docs/<script>\n.html"
DATES = [f"2020-01-0{day}T12:00Z" for day in range(7)]


@pytest.fixture
def project(repository: Repository) -> Repository:
    """A branch of two commits and a merge, and a main that has one commit since."""
    zoe = "Z <z@old>"
    old = {".mailmap": "Zoë & Co <zoe@example.com> Z <z@old>\n", "src/old name.py": "x\n" * 30}
    lines = "\n".join("1234567890")
    others = {"gone.txt": "1\n2\n", "logo.bin": b"\0 1"}
    repository.commit(old | {"src/app.py": lines} | others, DATES[1], zoe)
    repository.commit({"src/app.py": "only on main"}, DATES[5])
    repository.git("checkout", "--quiet", "-b", BRANCH, "HEAD~")
    repository.git("mv", "src/old name.py", "src/new name.py")
    lines = "\n".join("12t456xy789")
    new = {"src/app.py": lines, ODD_NAME: "<p>\n", "logo.bin": b"\0 2", "gone.txt": None}
    repository.commit(new, DATES[2], zoe)
    side = repository.commit({"a": "a\n"}, DATES[3], "Cal\x1b[2J <zoe@example.com>")
    repository.git("reset", "--quiet", "--hard", "HEAD~")
    author = {"GIT_AUTHOR_NAME": "Z", "GIT_AUTHOR_EMAIL": "z@old"}
    merge = ["merge", "--quiet", "--no-ff", "--message=Take\nside", side]
    repository.git(*merge, GIT_COMMITTER_DATE=DATES[4], **author)
    return repository


@pytest.fixture
def run(run: Run, project: Repository) -> Run:
    """Report on the branch, from a folder of its repository."""
    return partial(run, "branch_report.py", cwd=project.root / "src")


def test_text_and_json_show_what_the_branch_changed(run: Run, project: Repository) -> None:
    facts = json.loads(run("--json")[1])
    merge, side, first = (commit["id"][:9] for commit in facts["commits"])
    report = f"""\
What {BRANCH} changed since it left main
  repository  {project.root}
  branch      {BRANCH} (the default branch is main)
  head        {BRANCH} ({project.git("rev-parse", "--short=12", "HEAD").strip()})
  base        main ({project.git("rev-parse", "--short=12", "main").strip()}), 3 ahead, 1 behind

3 commits that main lacks
  2020-01-04  {merge}  Zoë & Co    merge: Take side
  2020-01-03  {side}  Cal\\x1b[2J  work (1 file, +1 -0)
  2020-01-02  {first}  Zoë & Co    work (5 files, +5 -5)

2 authors
  2  Zoë & Co <zoe@example.com>
  1  Cal\\x1b[2J <zoe@example.com>

6 files, +6 -5 lines
  modified  +4  -3  src/app.py
      lines 3, 7-8, 11
  deleted   +0  -2  gone.txt
  added     +1  -0  a
  added     +1  -0  docs/<script>\\n.html
  modified  +0  -0  logo.bin
  renamed   +0  -0  src/old name.py -> src/new name.py
"""
    assert run() == (0, report, "")
    assert [*facts["spans"]] == ["a", ODD_NAME, "src/app.py"]


# Lines of the report on main since some moment.
PERIODS = {
    "--since=2020-01-05T12:00": {
        "What main changed since 2020-01-05 12:00",
        "  begins      as --since=2020-01-05T12:00 says",
        "1 commit in the period",
        "1 file, +1 -10 lines",
    },
    "--since=2099-01-01": {
        "What main changed since 2099-01-01 00:00",
        "  period      from 2099-01-01 00:00 to 2099-01-01 00:00",
        "0 commits in the period",
        "0 files, +0 -0 lines",
    },
    "--head=main": {  # the usual period
        "All of main's history, from its first commit on",
        "  period      from 2019-12-06 12:00 to 2020-01-05 12:00",
        "  begins      30 days before the newest commit",
        "2 commits in the period",
        "5 files, +34 -0 lines",
    },
}


@pytest.mark.parametrize("option", PERIODS)
def test_without_commits_of_its_own_the_report_covers_a_period(run: Run, option: str) -> None:
    code, report, message = run("--head=main", option)
    assert (code, message) == (0, "")
    assert PERIODS[option] <= {*report.splitlines()}


def test_a_short_history_is_reported_from_its_tenth_newest_commit(
    run: Run, project: Repository
) -> None:
    project.git("checkout", "--quiet", "main")
    for number in range(9):
        project.commit({"a": str(number)}, DATES[6])
    lines = run("--head=main")[1].splitlines()
    assert {
        "What main changed since 2020-01-05 12:00",
        "  period      from 2020-01-05 12:00 to 2020-01-06 12:00",
        "  begins      with the newest 10 commits: the whole history is within 30 days",
        "10 commits in the period",
    } <= {*lines}


def test_json_has_the_moment_at_which_the_period_ends(run: Run) -> None:
    facts = json.loads(run("--head=main", "--json")[1])
    assert facts["period"]["end"] == "2020-01-05T12:00:00"


def test_since_is_not_used_for_a_branch_with_commits(run: Run) -> None:
    code, report, message = run("--since=1d")
    assert (code, report) == (0, run()[1])
    line = "branch_report: the branch has commits of its own, so --since is not used\n"
    assert message == line


def test_a_shallow_clone_says_so(run: Run, project: Repository) -> None:
    project.git("clone", "--quiet", "--depth=1", f"file://{project.root}", "../shallow")
    code, report, message = run("../../shallow")
    assert (code, message) == (0, "")
    assert "history     a shallow clone" in report


ODD_FILE = """
git init -q ../{0}; cd ../{0}; touch $(printf '\\036{1}'); git add .; git commit -qm x
"""
NO_COMMITTER = """
git init -q ../no_committer; cd ../no_committer; tree=$(git mktree </dev/null)
commit=$(printf "tree $tree\\nauthor A <a@b> 1 +0000\\n\\nx\\n" |
    git hash-object --literally -t commit -w --stdin)
git update-ref HEAD $commit
"""
# How a place is made, and the one line that says why it has no report.
UNREADABLE = {
    "bare": ("git clone -q --bare . ../bare", "bare: a bare repository: name a work tree"),
    "empty": ("git init -q --initial-branch=main ../empty", "empty: no commit on main yet"),
    "damaged": ("git init -q ../damaged; git rev-parse @ > ../damaged/.git/HEAD", "it lacks"),
    "repository/inner": ("mkdir -p inner/.git", "inner: its .git is not a git repository"),
    "no_repository": ("mkdir ../no_repository", "no_repository: in no git repository"),
    "missing": ("true", "missing: not a directory"),
    "odd_file": (
        ODD_FILE.format("odd_file", "abc"),
        "git's log cannot be read: a file name starts with U+001E",
    ),
    "like_a_commit": (ODD_FILE.format("like_a_commit", "1577836800"), "git's log is ambiguous"),
    "no_committer": (NO_COMMITTER, "git's log cannot be read: "),
    "repository --base=--output=x": ("true", "'--output=x' names no commit"),
    "repository --since=soon": ("true", "since must be a positive whole number"),
    "repository --since=1969-12-31": ("true", "since must be from 1970-01-01 to 2099-12-31"),
}


@pytest.mark.parametrize("command", UNREADABLE)
def test_without_a_report_there_is_one_line(run: Run, project: Repository, command: str) -> None:
    made_by, reason = UNREADABLE[command]
    subprocess.run(made_by, shell=True, cwd=project.root, check=True)
    code, report, message = run(*f"../../{command}".split())
    assert (code, report) == (2, "")
    assert message.startswith("branch_report: ")
    assert reason in message
    assert message.count("\n") == 1


def test_histories_without_a_commit_in_common_are_compared(run: Run, project: Repository) -> None:
    alone = project.git("commit-tree", "-m", "alone", f"{BRANCH}^{{tree}}")[:12]
    _, report, _ = run(f"--head={alone}")
    assert report.startswith(f"How {alone} differs from main, with which it shares no commit\n")
    assert f"\n  head        {alone}\n" in report
    assert "\n1 commit that main lacks\n" in report


@pytest.mark.parametrize("options", [[], ["--base=main", f"--head={BRANCH}"]])
def test_a_tag_does_not_hide_the_branch_of_its_name(
    run: Run, project: Repository, options: list[str]
) -> None:
    expected = run(*options)
    project.git("tag", "main", BRANCH)
    project.git("tag", BRANCH, "refs/heads/main")
    assert run(*options) == expected


def test_nothing_is_fetched_unless_it_is_allowed(run: Run, project: Repository) -> None:
    clone_without_blobs(project, BRANCH, "partial")
    code, _, message = run("../../partial")
    assert (code, message.count("\n")) == (2, 1)
    reason = "this partial clone lacks objects, which --fetch-missing lets git fetch: fatal: "
    assert message.startswith(f"branch_report: {reason}")
    # The clone has no main of its own.
    assert "base        origin/main (" in run("../../partial", "--fetch-missing")[1]


def test_lines_are_cut_for_a_terminal_only(run: Run) -> None:
    lines = lines_on_a_terminal(30, lambda output: run(stdout=output))
    whole = run()[1].splitlines()
    assert lines == [line if len(line) <= 30 else f"{line[:29]}\u2026" for line in whole]


def test_a_cut_counts_the_columns_that_characters_take() -> None:
    two_wide_an_accented_and_two_narrow = "\u65e5\uff21e\u0301xy"
    cuts = [cut(two_wide_an_accented_and_two_narrow, most, start=True) for most in (7, 6, 5)]
    assert cuts == [two_wide_an_accented_and_two_narrow, "\u2026\uff21e\u0301xy", "\u2026e\u0301xy"]
    assert cut(two_wide_an_accented_and_two_narrow, 6) == "\u65e5\uff21e\u0301\u2026"


def test_an_interrupt_of_the_program_alone_ends_git(
    start: Start, project: Repository, fake_git: FakeGit
) -> None:
    folder = fake_git("echo $$ >> pids; exec sleep 1000")
    program = start(EXAMPLES / "branch_report.py", project.root)
    wait_for(lambda: count_lines(folder / "pids") == 1)
    program.send_signal(signal.SIGINT)
    assert program.wait(PROCESS_LIMIT) == 130
    assert program.stderr.read() == "branch_report: interrupted\n"
    wait_for(lambda: not is_running((folder / "pids").read_text().strip()))


HOW_MANY_MORE = pytest.mark.parametrize(("more", "end"), [(0, ""), (1, ""), (1000, "s")])


@HOW_MANY_MORE
def test_a_list_says_how_many_it_leaves_out(project: Repository, more: int, end: str) -> None:
    report = gather(project.root)
    long = replace(
        report,
        ahead=text.TEXT_COMMITS + more,
        files=report.files[:1] * (text.TEXT_FILES + more),
        authors=report.authors[:1] * (text.TEXT_AUTHORS + more),
    )
    last_lines = [line for line in text.report_lines(long) if line.startswith("  and ")]
    nouns = ("commit", "author", "file") if more else ()
    assert last_lines == [f"  and {more:,} more {noun}{end}" for noun in nouns]


@HOW_MANY_MORE
def test_a_file_says_how_many_spans_it_leaves_out(more: int, end: str) -> None:
    spans = [LineSpan(1, 1, added=False)] * (wording.MAX_SPANS + more)
    left_out = f" and {more:,} more span{end}" if more else ""
    assert wording.span_text(spans).endswith(f"1, 1{left_out}")
