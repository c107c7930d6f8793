"""Many repositories, asked through real schedulers and workers in processes of their own."""

import json
import os
import re
import shutil
import signal
from functools import partial
from pathlib import Path

import pytest
from conftest import EXAMPLES, FakeGit, Repository, Start

SCRIPT = EXAMPLES / "many_repositories.py"
RUN = "import runpy, sys; del sys.argv[0]; runpy.run_module(sys.argv[0], run_name='__main__')"
WITHOUT_MODULE = f"import sys; sys.modules['orvel_tarnix'] = None; {RUN}"
LOSING = f"""import distributed, signal
distributed.Future.__del__ = lambda _, due=[signal.SIGINT]: due and signal.raise_signal(due.pop())
{RUN}"""
ROW = ["2", "0", "2", "+2", "-2", "2", "2", "topic", "main"]
STOPPED = r"many_repositories: stopped after \d+ rows; the same with --resume goes on\n"
SINCE = "--since=2026-01-02"


@pytest.fixture
def project(repository: Repository) -> str:
    """A branch of two commits, which main knows nothing of."""
    repository.commit({"a": "1\n2\n", "b": "1\n"}, "2026-01-01T00:00Z")
    repository.git("checkout", "--quiet", "-b", "topic")
    repository.commit({"a": "1\ntwo\nthree\n"}, "2026-01-02T00:00Z")
    repository.commit({"b": None}, "2026-01-03T00:00Z", by="Bo <bo@example.org>")
    return str(repository.root)


def errors(file: Path) -> dict[str, str | None]:
    """The errors of the rows by their roots, none of which may be there twice."""
    rows = [json.loads(line) for line in file.read_text().splitlines()]
    answered = {row["root"]: row.get("error") for row in rows}
    assert len(answered) == len(rows)
    return answered


def test_scheduler_and_client_do_without_the_module(start: Start, project: str) -> None:
    bare = partial(start, "-c", WITHOUT_MODULE, path=str(EXAMPLES))
    scheduler = bare("distributed.cli.dask_scheduler", "--host=127.0.0.1", "--port=0")
    address = next(line.split()[-1] for line in scheduler.stderr if "Scheduler at:" in line)
    client = bare("many_repositories", "--from=-", "--scheduler", address, SINCE)
    assert client.stderr.readline().endswith("the scheduler has no workers yet; waiting for some\n")
    start("-m", "distributed.cli.dask_worker", address, "--nthreads=1", "--no-nanny")
    client.stdin.write(f"{project}\n")
    client.stdin.flush()
    client.stdout.readline()  # the heading
    assert client.stdout.readline().split() == [*ROW, project]  # standard input is still open
    scheduler.kill()
    assert client.communicate("none\n") == ("", "many_repositories: the scheduler is gone\n")
    assert client.returncode == 2


TROUBLE = {
    "killed_once": None,
    "killer": "4 workers died of it, one after the other",
    "slow": "took longer than 9 seconds",
    "foreign": "fatal: detected dubious ownership in repository at '.'",
    "repository/damaged": "fatal: not a git repository (or any of the parent directories): .git",
    "none": "in no git repository",
}


def test_each_kind_of_trouble_has_its_row(
    start: Start, project: str, fake_git: FakeGit, tmp_path: Path
) -> None:
    for name in ("killed_once", "killer", "slow", "foreign"):
        shutil.copytree(project, tmp_path / name)
    (tmp_path / "none").mkdir()
    (tmp_path / "repository/damaged/.git").mkdir(parents=True)
    folder = fake_git(f"""
        echo "$GIT_ALLOW_PROTOCOL $GIT_NO_LAZY_FETCH" >> seen
        case "$OLDPWD" in
        */killer) kill -KILL $PPID; exit;;
        */killed_once) [ -e killed ] || {{ touch killed; kill -KILL $PPID; exit; }};;
        */slow) exec sleep 1000;;
        */foreign) sleep 1; export GIT_TEST_ASSUME_DIFFERENT_OWNER=1;;  # so its batch is cut short
        esac
        cd "$OLDPWD" && exec '{shutil.which("git")}' "$@" """)
    trouble = {str(tmp_path / name): error for name, error in TROUBLE.items()}
    options = [SINCE, "--timeout=9", "--workers=2", "--jsonl=rows"]
    client = start(SCRIPT, "repository", *trouble, *options)
    output, said = client.communicate()
    assert (client.returncode, said) == (1, "")
    assert [*ROW, project] in map(str.split, output.splitlines())
    assert f"  {tmp_path}/none: in no git repository\n" in output
    assert errors(tmp_path / "rows") == {project: None} | trouble
    assert set((folder / "seen").read_text().splitlines()) == {"none 1"}


def test_ten_thousand_roots_are_resumed(start: Start, project: str, tmp_path: Path) -> None:
    trouble = {f"{tmp_path}/none/{number}": "no directory" for number in range(9_999)}
    (tmp_path / "roots").write_text("\n".join([*trouble, project]))
    command = [SCRIPT, "--from=roots", "--jsonl=rows", "--resume"]
    printed = 0
    for stop, code in {signal.SIGINT: 130, signal.SIGKILL: -9}.items():
        client = start(*command)
        lines = [client.stdout.readline() for _ in range(500)]
        os.killpg(client.pid, stop)  # as a terminal does it: the workers get it too
        printed += len([*lines, *client.stdout]) - 1  # the heading
        assert (tmp_path / "rows").read_text().count("\n") >= printed
        assert re.fullmatch(STOPPED if code == 130 else "", client.stderr.read())
        assert client.wait() == code
    with (tmp_path / "rows").open("a") as cut:
        cut.write('{"root": "/", "since": "3')
    for _ in range(2):  # the second time all of them are answered
        client = start(*command)
        assert (client.communicate()[1], client.returncode) == ("", 1)
    assert errors(tmp_path / "rows") == trouble | {project: None}


def test_an_interrupt_that_a_destructor_loses_ends_the_run(start: Start, tmp_path: Path) -> None:
    (tmp_path / "roots").write_text("none\n" * 9_999)
    client = start("-c", LOSING, "many_repositories", "--from=roots")
    assert re.fullmatch(r".*stopped after \d+ rows; --jsonl FILE.*\n", client.communicate()[1])
    assert client.returncode == 130


COMPLAINTS = {
    ("--since=soon",): "since must be a positive whole number",
    ("--from=none",): "[Errno 2] No such file or directory: 'none'",
    ("--jsonl=rows",): "rows has rows already: add --resume or name another file",
    ("--jsonl=rows", "--resume"): "rows has the rows since 1d, not 30d",
    ("--scheduler=tcp://127.0.0.1:1",): "no scheduler at tcp://127.0.0.1:1: Timed out",
}


def test_bad_input_gets_one_line(start: Start, project: str, tmp_path: Path) -> None:
    (tmp_path / "rows").write_text('{"root": "/", "since": "1d"}\n')
    clients = [start(SCRIPT, project, "--workers=1", *options) for options in COMPLAINTS]
    for client, complaint in zip(clients, COMPLAINTS.values(), strict=True):
        output, said = client.communicate()
        assert (client.returncode, output, said.count("\n")) == (2, "", 1)
        assert said.startswith(f"many_repositories: {complaint}")
