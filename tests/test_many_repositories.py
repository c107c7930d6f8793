"""Many repositories, asked through real schedulers and workers in processes of their own."""

import json
import os
import shutil
import signal
import subprocess
import sys
from collections import Counter
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest
from conftest import FakeGit, Repository

TREE = Path(__file__).parents[1]
SCRIPT = str(TREE / "examples" / "many_repositories.py")
WITHOUT_MODULE = "import runpy, sys; sys.modules['orvel_tarnix'] = None; sys.argv = sys.argv[1:];"
RUN_FILE = WITHOUT_MODULE + "runpy.run_path(sys.argv[0], run_name='__main__')"
RUN_MODULE = WITHOUT_MODULE + "runpy.run_module(sys.argv[0], run_name='__main__')"
LIMIT = 240  # seconds, far more than any of it takes

type Start = Callable[..., subprocess.Popen[str]]


@pytest.fixture
def start(tmp_path: Path) -> Iterator[Start]:
    """Start Python in a session of its own, which ends with the test."""
    with ExitStack() as stack:

        def start(*args: str, path: str = f"{TREE}", **options: int) -> subprocess.Popen[str]:
            environment = os.environ | {"PYTHONPATH": path, "TMPDIR": str(tmp_path)}
            pipes = dict.fromkeys(["stdin", "stdout", "stderr"], subprocess.PIPE) | options
            process = subprocess.Popen(
                ["timeout", "--foreground", "--signal=KILL", f"{LIMIT}", sys.executable, *args],
                **pipes,
                cwd=tmp_path,
                env=environment,
                text=True,
                start_new_session=True,
            )
            stack.enter_context(process)
            stack.callback(lambda: process.poll() is None and os.killpg(process.pid, 9))
            return process

        yield start


@pytest.fixture
def project(repository: Repository) -> str:
    """A branch of two commits, which main knows nothing of."""
    repository.commit({"a": "1\n2\n", "b": "1\n"}, "2026-01-01T00:00Z")
    repository.git("checkout", "--quiet", "-b", "topic")
    repository.commit({"a": "1\ntwo\nthree\n"}, "2026-01-02T00:00Z")
    repository.commit({"b": None}, "2026-01-03T00:00Z", by="Bo <bo@example.org>")
    return str(repository.root)


ROW = ["2", "0", "2", "+2", "-2", "2", "2", "topic", "main"]
SINCE = "--since=2026-01-02"


def rows(file: Path) -> dict[str, dict[str, object]]:
    """The rows of a file by their roots, none of which may be there twice."""
    read = [json.loads(line) for line in file.read_text().splitlines()]
    assert set(Counter(row["root"] for row in read).values()) <= {1}
    return {row["root"]: row for row in read}


def test_scheduler_and_client_do_without_the_module(start: Start, project: str) -> None:
    apart = {"path": f"{TREE}/examples"}
    distributed = ["distributed.cli.dask_scheduler", "--host=127.0.0.1", "--port=0"]
    scheduler = start("-c", RUN_MODULE, *distributed, "--no-dashboard", **apart)
    address = next(line.split()[-1] for line in scheduler.stderr if "Scheduler at:" in line)
    client = start("-c", RUN_FILE, SCRIPT, "--from=-", "--scheduler", address, SINCE, **apart)
    client.stdin.write(f"{project}\n")
    client.stdin.flush()
    assert client.stderr.readline().endswith("the scheduler has no workers yet; waiting for some\n")
    options = ["--nthreads=1", "--no-nanny", "--no-dashboard"]
    start("-m", "distributed.cli.dask_worker", address, *options, stderr=subprocess.DEVNULL)
    # Standard input is still open, and the row is there.
    heading, row = client.stdout.readline(), client.stdout.readline()
    assert (heading.split()[0], row.split()) == ("ahead", [*ROW, project])
    assert client.communicate("/nowhere\n")[0].endswith("  /nowhere: no directory\n")
    assert client.returncode == 1


TROUBLE = {
    "killed_once": None,
    "killer": "4 workers died of it, one after the other",
    "slow": "took longer than 9 seconds",
    "foreign": "fatal: detected dubious ownership in repository at '.'",
    "empty": "fatal: your current branch 'main' does not have any commits yet",
    "damaged": "fatal: bad object HEAD",
    "broken": "fatal: not a git repository (or any of the parent directories): .git",
    "missing": "no directory",
}


def test_each_kind_of_trouble_has_its_row(
    start: Start, project: str, fake_git: FakeGit, tmp_path: Path
) -> None:
    for name in TROUBLE.keys() - {"missing", "empty", "broken"}:
        shutil.copytree(project, tmp_path / name)
    Repository(tmp_path / "empty")
    (tmp_path / "broken" / ".git").mkdir(parents=True)
    shutil.rmtree(tmp_path / "damaged" / ".git" / "objects" / "pack")
    for folder in (tmp_path / "damaged" / ".git" / "objects").glob("??"):
        shutil.rmtree(folder)
    fake_git(f"""
        echo "$GIT_ALLOW_PROTOCOL $GIT_NO_LAZY_FETCH" >> seen
        case "$OLDPWD" in
        */killer) kill -KILL $PPID; exit;;
        */killed_once) [ -e killed ] || {{ touch killed; kill -KILL $PPID; exit; }};;
        */slow) exec sleep 1000;;
        */foreign) export GIT_TEST_ASSUME_DIFFERENT_OWNER=1;;
        esac
        cd "$OLDPWD" && exec '{shutil.which("git")}' "$@" """)
    file = tmp_path / "rows"
    roots = [str(tmp_path / name) for name in TROUBLE]
    options = [SINCE, "--timeout=9", "--workers=2", f"--jsonl={file}"]
    client = start(SCRIPT, project, *roots, *options)
    output, errors = client.communicate()
    assert (client.returncode, errors) == (1, "")
    assert [*ROW, project] in map(str.split, output.splitlines())
    assert {Path(root).name: row.get("error") for root, row in rows(file).items()} == {
        Path(project).name: None
    } | TROUBLE
    assert all(output.count(f"{root}: ") == 1 for root in roots[1:])
    assert set((fake_git.directory / "seen").read_text().splitlines()) == {"none 1"}


STOPS = {
    signal.SIGINT: (
        130,
        "many_repositories: stopped after 1 rows; the same with --resume goes on\n",
    ),
    signal.SIGKILL: (-signal.SIGKILL, ""),
}


@pytest.mark.parametrize("stop", STOPS, ids=lambda stop: stop.name)
def test_what_is_stopped_is_resumed(
    start: Start, project: str, tmp_path: Path, stop: signal.Signals
) -> None:
    file = tmp_path / "rows"
    command = [SCRIPT, "--from=-", "--workers=1", f"--jsonl={file}"]
    client = start(*command, SINCE)
    client.stdin.write(f"{project}\n")
    client.stdin.flush()
    assert [client.stdout.readline().split() for _ in range(2)][1] == [*ROW, project]
    os.killpg(client.pid, stop)  # as a terminal does it: the workers get it too
    code, said = STOPS[stop]
    assert (client.stderr.read(), client.wait()) == (said, code)
    with file.open("a") as cut:
        cut.write('{"root": "/half", "since": "20')
    client = start(*command, SINCE, "--resume")
    output = client.communicate(f"{project}\n/half\n")[0]
    assert (client.returncode, project in output, rows(file).keys()) == (
        1,
        False,
        {project, "/half"},
    )
    for options, complaint in {
        (SINCE,): f"{file} has rows already: add --resume or name another file",
        ("--resume",): f"{file} has the rows since 2026-01-02, not 30d",
    }.items():
        client = start(*command, *options)
        assert client.communicate() == ("", f"many_repositories: {complaint}\n")
        assert client.returncode == 2


def test_ten_thousand_roots_most_of_them_missing(
    start: Start, project: str, tmp_path: Path
) -> None:
    roots = [f"/nowhere/{number}" for number in range(10_000)]
    roots[5000] = project
    listed, file = tmp_path / "listed", tmp_path / "rows"
    listed.write_text("".join(f"{root}\n" for root in roots))
    client = start(SCRIPT, f"--from={listed}", f"--jsonl={file}", stdout=subprocess.DEVNULL)
    assert client.communicate() == (None, "")
    answered = rows(file)
    assert (client.returncode, len(answered)) == (1, 10_000)
    assert [root for root, row in answered.items() if "error" not in row] == [project]


COMPLAINTS = {
    "--since=soon": "since must be a positive whole number",
    "--from=/nowhere": "[Errno 2] No such file or directory: '/nowhere'",
    "--jsonl=/nowhere/rows": "[Errno 2] No such file or directory: '/nowhere/rows'",
    "--resume": "--resume goes on with the rows of --jsonl FILE",
    "--scheduler=tcp://127.0.0.1:1": "no scheduler at tcp://127.0.0.1:1: Timed out",
    "--scheduler=here": "no scheduler at here: ",
}


@pytest.mark.parametrize(("option", "complaint"), COMPLAINTS.items(), ids=COMPLAINTS)
def test_bad_input_gets_one_line(start: Start, project: str, option: str, complaint: str) -> None:
    client = start(SCRIPT, project, "--workers=1", option)
    output, errors = client.communicate()
    assert (client.returncode, output, errors.count("\n")) == (2, "", 1)
    assert errors.startswith(f"many_repositories: {complaint}")
