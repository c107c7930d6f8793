"""The examples, run as a person runs them, on a repository whose contents are known."""

import json
import os
import subprocess
import termios
from dataclasses import replace
from datetime import datetime
from functools import partial

import branch_facts
import command_line
import pytest
import report_charts
import report_text
from branch_facts import Commit, Period
from conftest import Repository, Run

from orvel_tarnix.utils.git_utils import LineSpan

BRANCH = "fix/<b>&co"
ODD_NAME = "docs/<script>\n.html"
DATES = [f"2020-01-0{day}T12:00Z" for day in range(7)]


@pytest.fixture
def project(repository: Repository) -> Repository:
    """A branch of two commits and a merge, beside a main that went on by one."""
    text = [*map(str, range(1, 11))]
    files = {"src/app.py": "\n".join(text), "src/old name.py": "x\n" * 30, "gone.txt": "1\n2\n"}
    mailmap = {".mailmap": "Zoë & Co <zoe@example.com> Z <z@old>\n"}
    repository.commit(files | mailmap | {"logo.bin": b"\0 1"}, DATES[1], "Z <z@old>")
    repository.commit({"src/app.py": "".join(text[:5])}, DATES[5])
    repository.git("checkout", "--quiet", "-b", BRANCH, "HEAD~")
    repository.git("mv", "src/old name.py", "src/new name.py")
    text[2:3], text[6:6], text[10:] = ["three"], ["x", "y"], ["9"]
    changed = {"src/app.py": "\n".join(text), ODD_NAME: "<p>\n", "logo.bin": b"\0 2"}
    repository.commit(changed | {"gone.txt": None}, DATES[2], "Z <z@old>")
    side = repository.commit({"a": "a\n"}, DATES[3], "Cal\x1b[2J <zoe@example.com>")
    repository.git("reset", "--quiet", "--hard", "HEAD~")
    by = {"GIT_AUTHOR_NAME": "Z", "GIT_AUTHOR_EMAIL": "z@old", "GIT_COMMITTER_DATE": DATES[4]}
    repository.git("merge", "--quiet", "--no-ff", "--message=Take\nside", side, **by)
    return repository


@pytest.fixture
def run(run: Run, project: Repository) -> Run:
    """Report on the branch, from a folder of its repository."""
    return partial(run, "branch_report.py", cwd=project.root / "src")


def test_text_and_json_tell_what_the_branch_changed(run: Run, project: Repository) -> None:
    facts = json.loads(run("--json")[1])
    merge, side, first = (commit["id"][:9] for commit in facts["commits"])
    text = f"""\
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
    assert run() == (0, text, "")
    assert [*facts["spans"]] == ["a", ODD_NAME, "src/app.py"]


PERIODS = {
    "--since=2020-01-05T12:00": ("What main changed since 2020-01-05 12:00", "as --since=", 1),
    "--since=2099-01-01": ("What main changed since 2099", "to 2099-01-01 00:00\n", 0),
    # All has been quiet for long: the usual period ends with the newest commit.
    "--head=main": ("All that main holds, from its first", "05 12:00\n  begins      30 days", 2),
    "--base=main": ("What main changed since 2020-01-05 12:00", "with the newest 10 comm", 10),
}


@pytest.mark.parametrize("arg", PERIODS)
def test_without_a_branch_it_tells_of_a_period(run: Run, project: Repository, arg: str) -> None:
    title, reason, commits = PERIODS[arg]
    if arg == "--base=main":  # has grown
        project.git("checkout", "--quiet", "main")
        for number in range(9):
            project.commit({"a": str(number)}, DATES[6])
    code, text, complaint = run("--head=main", arg)
    assert (code, text.startswith(title), complaint) == (0, True, "")
    assert (reason in text, "\n0 files" in text) == (True, commits == 0)
    assert f"\n{report_text.counted(commits, 'commit')} in the period\n" in text
    start = json.loads(run("--head=main", arg, "--json")[1])["period"]["start"]
    assert (start[:2], start[10]) == ("20", "T")


# What the report is on, made beside the repository or just named, and what it says.
PLACES = {
    "shallow": ("git clone -q --depth=1 file://$PWD ../shallow", "history     a shallow clone"),
    "bare": ("git clone -q --bare . ../bare", "/bare is a bare repository: name a work tree"),
    "empty": ("git init -q --initial-branch=main ../empty", "/empty has no commit on main yet"),
    "damaged": ("git init -q ../damaged; git rev-parse @ > ../damaged/.git/HEAD", "it lacks"),
    "--base=--output=x": ("", "'--output=x' names no commit of "),
    "--since=soon": ("", "since must be a positive whole number"),
    "--since=1969-12-31": ("", "since must be from 1970-01-01 to 2099-12-31"),
}


@pytest.mark.parametrize("place", PLACES)
def test_a_repository_is_called_what_it_is(run: Run, project: Repository, place: str) -> None:
    made, said = PLACES[place]
    subprocess.run(made, shell=True, cwd=project.root, check=True)
    code, text, complaint = run(place if place.startswith("--") else f"../../{place}")
    assert said in text + complaint
    assert (code, complaint.count("\n")) == ((0, 0) if text else (2, 1))


def test_histories_without_a_commit_in_common_are_compared(run: Run, project: Repository) -> None:
    alone = project.git("commit-tree", "-m", "alone", f"{BRANCH}^{{tree}}")[:12]
    _, text, _ = run(f"--head={alone}")
    assert text.startswith(f"How {alone} differs from main, with which it shares no commit\n")
    assert f"\n  head        {alone}\n" in text
    assert "\n1 commit that main lacks\n" in text


def test_nothing_is_fetched_unless_told_to(run: Run, project: Repository) -> None:
    project.git("config", "uploadpack.allowFilter", "true")
    project.git("symbolic-ref", "HEAD", "refs/heads/main")
    partial = ["--quiet", "--filter=blob:none", "--no-checkout", f"--branch={BRANCH}"]
    project.git("clone", *partial, f"file://{project.root}", "../partial")
    code, _, complaint = run("../../partial")
    assert (code, complaint.count("\n")) == (2, 1)
    # The clone has no main of its own.
    assert "base        origin/main (" in run("../../partial", "--fetch-missing")[1]


def test_lines_are_cut_for_a_terminal_only(run: Run) -> None:
    ours, terminal = os.openpty()
    termios.tcsetwinsize(terminal, (24, 30))
    with os.fdopen(ours, "rb", buffering=0) as screen, os.fdopen(terminal):
        assert run(stdout=terminal) == (0, "", "")
        lines = screen.read(9999).decode().splitlines()
    whole = run()[1].splitlines()
    assert lines == [line if len(line) <= 30 else f"{line[:29]}\u2026" for line in whole]
    # Two characters of two columns, a letter with its accent, and two letters.
    assert report_text.cut("\u65e5\uff21e\u0301xy", 6) == "\u65e5\uff21e\u0301\u2026"


def test_a_reader_may_stop_reading(run: Run) -> None:
    reader, writer = os.pipe()
    os.close(reader)
    with os.fdopen(writer):
        assert run(stdout=writer) == (0, "", "")


def test_of_what_git_complains_the_line_that_says_why_is_told() -> None:
    assert command_line._reason(OSError("warning: a\nb\x1b")) == "b\\x1b"


@pytest.mark.parametrize(("more", "end"), [(0, ""), (1, ""), (1000, "s")])
def test_a_list_says_how_many_it_leaves_out(project: Repository, more: int, end: str) -> None:
    report = branch_facts.gather(project.root)
    long = replace(
        report,
        ahead=report_text.MOST_COMMITS + more,
        files=report.files[:1] * (report_text.MOST_FILES + more),
        authors=report.authors[:1] * (report_text.MOST_AUTHORS + more),
    )
    told = [line for line in report_text.report_lines(long) if line.startswith("  and ")]
    assert told == [f"  and {more:,} more {n}{end}" for n in ("commit", "author", "file") if more]
    spans = [LineSpan(1, 1, added=False)] * (report_text.MOST_SPANS + more)
    left_out = f" and {more:,} more span{end}" if more else ""
    assert report_text.span_text(spans).endswith(f"1, 1{left_out}")


MAY, DAY, NEVER = 1588291200, 86400, 2**60  # the first of May 2020; no calendar has the last
# Commits and their period: the step, where its bars end and their heights, the ends of the axis.
CHARTS = [
    ([MAY + 9 * DAY, MAY, MAY, NEVER], (1, 11), "day", [(7, 100), (97, 50)], "01 May to 11 May"),
    ([MAY + 10 * DAY, MAY + 82800], None, "day", [(7, 100), (97, 100)], "01 May to 11 May"),
    ([253402300799], None, "hour", [(52, 100)], "31 Dec to 31 Dec"),
    ([MAY + 99 * DAY, MAY], None, "week", [(5.5, 100), (99.9, 100)], "01 May to 08 Aug"),
    ([0, 253402300799], None, "century", [(1.1, 100), (100, 100)], "01 Jan to 31 Dec"),
]


@pytest.mark.parametrize("row", CHARTS, ids=["period", "days", "moment", "weeks", "centuries"])
def test_the_chart_covers_the_period_and_a_calendar_has_its_times(row: tuple) -> None:
    times, period, unit, bars, axis = row
    commits = [Commit("c", (), time, "a", "e", "s", ()) for time in times]
    whole = Period(*(datetime(2020, 5, day) for day in period), "") if period else None
    chart = report_charts.commit_chart(commits, whole)
    assert report_text.moment(NEVER) == f"@{NEVER}"
    assert (chart.unit, f"{chart.ticks[0][:6]} to {chart.ticks[2][:6]}") == (unit, axis)
    assert [(round(m.left + m.width, 1), m.height) for m in (b.mark for b in chart.bars)] == bars


def test_strips_show_each_kind_of_line_within_the_file() -> None:
    spans = [LineSpan(1, 10, added=True), LineSpan(40, 40, added=False)]
    spans += [LineSpan(999, 1000, added=True), LineSpan(1000, 1000, added=True)]
    marks = [(new, x.left, x.left + x.width) for new, x in report_charts.span_marks(spans, 1000)]
    assert marks == [(True, 0, 1), (False, 3.9, 4.2), (True, pytest.approx(99.7), 100)]
