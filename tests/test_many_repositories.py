"""Rows about many repositories, made by threads of one process."""

import json
import os
import re
import shutil
import signal
import subprocess
from functools import partial
from pathlib import Path
from typing import Any

import pytest
from conftest import FakeGit, Repository, Run, Start
from example_setup import (
    MANY_REPOSITORIES,
    SINCE,
    TOPIC_CELLS,
    clone_without_blobs,
    commit_topic,
    lines_on_a_terminal,
)
from processes import count_lines, is_running, wait_for
from python_process import PROCESS_LIMIT
from shared.interrupt import StoppableProcess

GIT = shutil.which("git")


@pytest.fixture
def project(repository: Repository) -> Repository:
    """A branch with two commits that main lacks."""
    commit_topic(repository)
    return repository


@pytest.fixture
def ask(run: Run) -> Run:
    """Run the program to its end."""

    def ask(*args: Any, **options: Any) -> tuple[int, str, str]:
        return run(MANY_REPOSITORIES.name, SINCE, *args, **options)

    return ask


def rows_of(file: Path) -> list[dict[str, Any]]:
    """The rows of a file; each is a whole line."""
    return [json.loads(line) for line in file.read_text().splitlines()]


def test_a_row_is_printed_and_kept(ask: Run, project: Repository, tmp_path: Path) -> None:
    root = str(project.root)
    code, table, message = ask(root, "--jsonl=rows")
    heading, row = table.splitlines()
    assert (code, message) == (0, "")
    assert heading.split()[:4] == ["repository", "ahead", "behind", "files"]
    assert row.split() == [root, *TOPIC_CELLS]
    names = {"since": "2026-01-02", "root": root, "repository": root, "branch": "topic"}
    numbers = {"ahead": 2, "behind": 0, "files": 2, "added": 2, "deleted": 2, "commits": 2}
    facts = {"compared_with": "main", **names, **numbers, "authors": 2}
    assert rows_of(tmp_path / "rows") == [facts]


def test_a_row_is_printed_while_others_are_still_to_be_named(
    start: Start, project: Repository
) -> None:
    program = start(MANY_REPOSITORIES, "--from=-", SINCE)
    program.stdin.write(f"{project.root}\n")
    program.stdin.flush()
    program.stdout.readline()  # the heading
    assert program.stdout.readline().split() == [str(project.root), *TOPIC_CELLS]
    rest, message = program.communicate(f"\n{project.root}\nmissing")
    assert len(rest.splitlines()) == 2
    assert (program.returncode, message) == (1, "")


def test_every_root_has_a_row_although_some_take_longer(ask: Run, project: Repository) -> None:
    _, table, _ = ask(*["none"] * 200, *[project.root] * 9)  # the 9 take longer than a batch may
    assert table.count("not a directory\n") == 200
    assert table.count("topic                   main\n") == 9


def test_a_row_fits_the_terminal(ask: Run, project: Repository) -> None:
    roots = [project.root, "\u65e5" * 40]
    lines = lines_on_a_terminal(80, lambda output: ask(*roots, "--workers=1", stdout=output))
    heading, row, error = lines
    end = str(project.root)[-21:]
    assert len(heading) <= 80
    assert row.startswith(f"\u2026{end}      2       0")
    assert row.endswith("        2 \u2026")
    assert len(row) == 80
    assert error == "\u2026" + 10 * "\u65e5" + "   not a directory"


# What is in the row of a place that has no report.
ERRORS = {
    "foreign": "fatal: detected dubious ownership in repository at '.'",
    "warned": "fatal: bad config",
    "repository/damaged": "its .git is not a git repository",
    "missing": "not a directory",
}


def test_a_place_without_a_report_gets_an_error_row(
    ask: Run, project: Repository, fake_git: FakeGit, tmp_path: Path
) -> None:
    for name in ("foreign", "warned"):
        shutil.copytree(project.root, tmp_path / name)
    (project.root / "damaged/.git").mkdir(parents=True)
    fake_git(f"""
        case "$OLDPWD" in
        */foreign) export GIT_TEST_ASSUME_DIFFERENT_OWNER=1;;
        */warned) printf 'warning: unused\\nhint: none\\nfatal: bad config\\n' >&2; exit 128;;
        esac
        cd "$OLDPWD" && exec '{GIT}' "$@" """)
    code, table, message = ask(*ERRORS, project.root, "--jsonl=rows")
    assert (code, message) == (1, "")
    assert [str(project.root), *TOPIC_CELLS] in map(str.split, table.splitlines())
    errors = {f"{tmp_path}/{name}": error for name, error in ERRORS.items()}
    for place, error in errors.items():
        assert f"\n{place}  {error}\n" in table
    rows = {row["root"]: row.get("error") for row in rows_of(tmp_path / "rows")}
    assert rows == errors | {str(project.root): None}


def test_a_slow_repository_gets_an_error_row(
    ask: Run, project: Repository, fake_git: FakeGit
) -> None:
    fake_git("exec sleep 1000")
    code, table, message = ask(project.root, "--timeout=0.5")
    assert (code, message) == (1, "")
    assert table.endswith(f"\n{project.root}  took longer than 0.5 seconds\n")


def test_a_partial_clone_says_what_helps(ask: Run, project: Repository, tmp_path: Path) -> None:
    clone_without_blobs(project, "topic", "partial")
    partial = tmp_path / "partial"
    assert "which --fetch-missing lets git fetch" in ask(partial)[1]
    code, table, _ = ask(partial, "--fetch-missing")
    assert (code, table.split()[-9:]) == (0, [*TOPIC_CELLS[:-1], "origin/main"])


def test_an_orphan_branch_is_compared_with_the_default_branch(
    ask: Run, project: Repository
) -> None:
    project.git("checkout", "--quiet", "--orphan", "alone")
    project.commit({"a": "1\n"}, "2026-01-04T00:00Z")
    row = ask(project.root)[1].splitlines()[1]
    assert row.split()[1:] == ["1", "1", "2", "+0", "-2", "1", "1", "alone", "main"]


def test_without_commits_of_its_own_a_branch_is_compared_with_a_moment(
    ask: Run, project: Repository
) -> None:
    project.git("checkout", "--quiet", "main")
    project.commit({"a": "1\n"}, "2026-01-05T00:00Z")
    moments = {  # the second one is before the first commit
        "2026-01-02": ["0", "0", "1", "+0", "-1", "1", "1", "main", "2026-01-02"],
        "2025-01-01": ["0", "0", "2", "+2", "-0", "2", "1", "main", "2025-01-01"],
    }
    rows = {since: ask(project.root, f"--since={since}")[1].split()[-9:] for since in moments}
    assert rows == moments


@pytest.fixture
def errors(project: Repository, tmp_path: Path) -> dict[str, str | None]:
    """Write a file of ten thousand roots, one of them a repository; return the error of each."""
    errors = {f"{tmp_path}/none/{number}": "not a directory" for number in range(9_999)}
    errors |= {str(project.root): None}
    (tmp_path / "roots").write_text("\n".join(errors))
    return errors


RESUMABLE = [MANY_REPOSITORIES, "--from=roots", "--jsonl=rows", "--resume"]


def stop(program: subprocess.Popen[str], how: signal.Signals) -> int:
    """Stop a program after 500 lines and return how many rows it printed after its heading."""
    lines = [program.stdout.readline() for _ in range(500)]
    program.send_signal(how)
    lines += program.stdout
    program.wait(PROCESS_LIMIT)
    return len(lines) - 1


@pytest.mark.usefixtures("errors")
def test_an_interrupted_run_says_how_to_continue(start: Start, tmp_path: Path) -> None:
    program = start(*RESUMABLE)
    assert stop(program, signal.SIGINT) <= count_lines(tmp_path / "rows")
    line = r"many_repositories: stopped after \d+ rows; run it again with --resume to continue\n"
    assert re.fullmatch(line, program.stderr.read())
    assert program.returncode == 130


def test_a_killed_run_is_continued(
    start: Start, errors: dict[str, str | None], tmp_path: Path
) -> None:
    assert stop(start(*RESUMABLE), signal.SIGKILL) <= count_lines(tmp_path / "rows")
    with (tmp_path / "rows").open("a") as cut_short:
        cut_short.write('{"since": "30d", "root": "/so')
    start(*RESUMABLE).communicate()
    rows = rows_of(tmp_path / "rows")
    assert len(rows) == 10_000
    assert {row["root"]: row.get("error") for row in rows} == errors


@pytest.mark.parametrize("only_the_program", [True, False])
def test_an_interrupt_ends_the_program_and_every_git(
    start: Start, project: Repository, fake_git: FakeGit, *, only_the_program: bool
) -> None:
    folder = fake_git("echo $$ >> pids; exec sleep 1000")
    program = start(MANY_REPOSITORIES, *[project.root] * 3, "--from=-", "--workers=3")
    wait_for(lambda: count_lines(folder / "pids") == 3)
    (os.kill if only_the_program else os.killpg)(program.pid, signal.SIGINT)
    assert program.wait(PROCESS_LIMIT) == 130
    expected = "many_repositories: stopped after 0 rows; --jsonl FILE keeps them\n"
    assert program.stderr.read() == expected
    wait_for(lambda: not any(map(is_running, (folder / "pids").read_text().split())))


def test_no_git_is_started_while_the_program_ends(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(StoppableProcess, "is_stopped", True)
    with pytest.raises(InterruptedError):
        StoppableProcess([GIT])


def test_a_closed_pipe_ends_every_git(
    start: Start, project: Repository, fake_git: FakeGit, tmp_path: Path
) -> None:
    shutil.copytree(project.root, tmp_path / "slow")
    folder = fake_git(f"""
        case "$OLDPWD" in */slow) echo $$ >> pids; exec sleep 1000;; esac
        cd "$OLDPWD" && exec '{GIT}' "$@" """)
    program = start(MANY_REPOSITORIES, "slow", "--from=-")
    wait_for(lambda: count_lines(folder / "pids") == 1)
    program.stdout.close()
    program.stdin.write(f"{project.root}\n" * 2)
    program.stdin.flush()
    assert program.wait(PROCESS_LIMIT) == 141
    assert program.stderr.read() == ""
    wait_for(lambda: not is_running((folder / "pids").read_text().strip()))


def test_closed_standard_error_does_not_change_the_exit_code(ask: Run, project: Repository) -> None:
    close = partial(os.close, 2)
    assert [ask(root, preexec_fn=close)[0] for root in (project.root, "none")] == [0, 1]
    assert ask(project.root, "--since=soon", preexec_fn=close)[0] == 2


BAD_OPTIONS = {
    "--since=soon /": "since must be a positive whole number",
    "--from=none": "[Errno 2] No such file or directory: 'none'",
    "--workers=0 /": "--workers must be at least 1, not 0",
    "--timeout=0 /": "--timeout must be more than 0 seconds, not 0",
    "--timeout=nan /": "--timeout must be more than 0 seconds, not nan",
    "--resume /": "--resume needs --jsonl FILE",
    "--since=1d": "name a ROOT or --from FILE",
}


@pytest.mark.parametrize("options", BAD_OPTIONS)
def test_bad_options_get_one_line(ask: Run, options: str) -> None:
    code, table, message = ask(*options.split())
    assert (code, table) == (2, "")
    assert message.startswith(f"many_repositories: {BAD_OPTIONS[options]}")
    assert message.count("\n") == 1


ROW = '{"since": "2026-01-02", "root": "/r", "error": "not a directory"}\n'
NOT_A_ROW = "rows, line {}: not a row of a repository"
# Contents of a file, and why no row is added.
REFUSED = {
    '{"the": "only copy"}': NOT_A_ROW.format(1),
    "[]\n": NOT_A_ROW.format(1),
    '{"since": "2026-01-02", "root": "/r", "x": 1}\n': NOT_A_ROW.format(1),
    ROW.replace('"/r"', "[]"): NOT_A_ROW.format(1),
    ROW.replace('"not a directory"', "1"): NOT_A_ROW.format(1),
    "[" * 100_000 + "\n": NOT_A_ROW.format(1),
    ROW[:30]: NOT_A_ROW.format(1),
    ROW + "my notes": NOT_A_ROW.format(2),
    ROW + ROW[:40] + "x" * (1 << 21): NOT_A_ROW.format(2),
    ROW.replace("2026-01-02", r"\u001b]0;x"): "rows has rows since \\x1b]0;x, not 2026-01-02",
}


@pytest.mark.parametrize("content", REFUSED, ids=lambda content: content[:50])
def test_other_content_is_refused_and_kept(ask: Run, tmp_path: Path, content: str) -> None:
    (tmp_path / "rows").write_text(content)
    refused = (2, "", f"many_repositories: {REFUSED[content]}\n")
    assert ask("/", "--jsonl=rows", "--resume") == refused
    assert (tmp_path / "rows").read_text() == content


def test_rows_are_continued_only_with_resume(ask: Run, tmp_path: Path) -> None:
    (tmp_path / "rows").write_text(ROW)
    line = "many_repositories: rows is not empty: add --resume or name another file\n"
    assert ask("/r", "--jsonl=rows") == (2, "", line)
    assert ask("/r", "--jsonl=rows", "--resume") == (1, "", "")  # with its exit code
    assert (tmp_path / "rows").read_text() == ROW


@pytest.mark.parametrize("kind", ["/dev/full", "pipe"])
def test_a_device_is_refused_without_reading_it(ask: Run, tmp_path: Path, kind: str) -> None:
    os.mkfifo(tmp_path / "pipe")
    line = f"many_repositories: {kind}: not a regular file\n"
    assert ask("/", f"--jsonl={kind}", "--resume") == (2, "", line)


def test_a_second_run_on_the_same_file_is_refused(
    start: Start, ask: Run, project: Repository, tmp_path: Path
) -> None:
    first = start(MANY_REPOSITORIES, project.root, "--from=-", "--jsonl=rows", SINCE)
    first.stdout.readline()
    first.stdout.readline()
    code, _, message = ask(project.root, "--jsonl=rows", "--resume")
    assert (code, message) == (2, "many_repositories: rows: another run is writing to it\n")
    first.communicate()
    assert first.returncode == 0
    assert len(rows_of(tmp_path / "rows")) == 1
