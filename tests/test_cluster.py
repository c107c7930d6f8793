"""Rows about many repositories, made by real schedulers and workers in their own processes."""

import json
import re
import shutil
import signal
import socket
import subprocess
from collections.abc import Iterator
from functools import partial
from http.server import BaseHTTPRequestHandler, HTTPServer
from pathlib import Path
from threading import Thread
from unittest.mock import Mock

import pytest
import trustme
from conftest import EXAMPLES, FakeGit, Repository, Start
from example_setup import MANY_REPOSITORIES, SINCE, TOPIC_CELLS, commit_topic

RUN_MODULE = (
    "import runpy, sys; del sys.argv[0]; runpy.run_module(sys.argv[0], run_name='__main__')"
)
WITHOUT_MODULE = f"import sys; sys.modules['orvel_tarnix'] = None; {RUN_MODULE}"
AGAIN = "import subprocess, sys\nwhile True: subprocess.run([sys.executable, *sys.argv[1:]])"
IMPATIENT = f"from repositories import workers; workers.PATIENCE = 2; {RUN_MODULE}"


@pytest.fixture
def project(repository: Repository) -> str:
    """The path of a repository whose branch has commits of its own."""
    commit_topic(repository)
    return str(repository.root)


def address_of(scheduler: subprocess.Popen[str]) -> str:
    """Where a scheduler listens, which it says as it starts."""
    return next(line.split()[-1] for line in scheduler.stderr if "Scheduler at:" in line)


@pytest.fixture
def address(start: Start) -> str:
    """Start a scheduler without workers."""
    return address_of(start("-m", "distributed.cli.dask_scheduler", "--host=127.0.0.1", "--port=0"))


def start_worker(start: Start, address: str) -> subprocess.Popen[str]:
    """Start a worker that lacks the examples, again and again when it has ended.

    Dask's own nanny gives up if its worker dies soon after its start. Logs would fill a pipe.
    """
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    worker = ["-m", "distributed.cli.dask_worker", address, "--nthreads=1", "--no-nanny"]
    return start("-c", AGAIN, *worker, path=str(EXAMPLES.parent), **quiet)


def test_scheduler_and_client_do_without_the_module(start: Start, project: str) -> None:
    bare = partial(start, "-c", WITHOUT_MODULE, path=str(EXAMPLES))
    scheduler = bare("distributed.cli.dask_scheduler", "--host=127.0.0.1", "--port=0")
    address = address_of(scheduler)
    client = bare("many_repositories", "--from=-", "--scheduler", address, SINCE)
    assert client.stderr.readline().endswith("the scheduler has no workers yet; waiting for some\n")
    start_worker(start, address)
    client.stdin.write(f"{project}\n")
    client.stdin.flush()
    client.stdout.readline()  # the heading
    row = client.stdout.readline()  # and standard input is still open
    assert row.split() == [project, *TOPIC_CELLS]
    scheduler.kill()
    assert client.communicate("none\n") == ("", "many_repositories: the scheduler is gone\n")
    assert client.returncode == 2


def test_the_repositories_of_a_lost_worker_go_to_another_one(
    start: Start, address: str, project: str, fake_git: FakeGit, tmp_path: Path
) -> None:
    for name in ("killed_once", "killer"):
        shutil.copytree(project, tmp_path / name)
    fake_git(f"""
        case "$OLDPWD" in
        */killer) kill -KILL $PPID; exit;;
        */killed_once) [ -e killed ] || {{ touch killed; kill -KILL $PPID; exit; }};;
        esac
        cd "$OLDPWD" && exec '{shutil.which("git")}' "$@" """)
    for _ in range(2):
        start_worker(start, address)
    roots = [project, "killed_once", "killer"]
    client = start(MANY_REPOSITORIES, *roots, "--jsonl=rows", f"--scheduler={address}")
    _, message = client.communicate()
    assert (client.returncode, message) == (1, "")
    rows = [json.loads(line) for line in (tmp_path / "rows").read_text().splitlines()]
    errors = {row["root"]: row.get("error") for row in rows}
    assert len(rows) == 3
    assert errors == {
        project: None,
        f"{tmp_path}/killed_once": None,
        f"{tmp_path}/killer": "4 workers died while reading it",
    }


def test_an_interrupt_ends_the_client(start: Start, address: str, project: str) -> None:
    start_worker(start, address)
    client = start(MANY_REPOSITORIES, project, "--from=-", f"--scheduler={address}")
    client.stdout.readline()
    client.stdout.readline()
    client.send_signal(signal.SIGINT)
    assert client.wait() == 130
    expected = "many_repositories: stopped after 1 rows; --jsonl FILE keeps them\n"
    assert client.stderr.read() == expected


@pytest.fixture
def web_server() -> Iterator[int]:
    """The port of an HTTP server, which logs nothing."""
    quiet = type("Quiet", (BaseHTTPRequestHandler,), {"log_message": Mock()})
    with HTTPServer(("127.0.0.1", 0), quiet) as server:
        Thread(target=server.serve_forever, daemon=True).start()
        yield server.server_port
        server.shutdown()


@pytest.fixture
def silent_server() -> Iterator[int]:
    """The port of a server that accepts and never answers."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        yield server.getsockname()[1]


@pytest.fixture
def closed_port() -> int:
    """A port at which nothing listens."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


NO_ANSWER = re.escape("no answer in 2 seconds")
SERVERS = {"web_server": NO_ANSWER, "silent_server": NO_ANSWER, "closed_port": "Timed out .*"}


@pytest.mark.parametrize("server", SERVERS)
def test_a_server_that_is_not_a_scheduler_gets_one_line(
    start: Start, project: str, request: pytest.FixtureRequest, server: str
) -> None:
    address = f"tcp://127.0.0.1:{request.getfixturevalue(server)}"
    client = start("-c", IMPATIENT, "many_repositories", project, f"--scheduler={address}")
    output, message = client.communicate()
    assert (client.returncode, output) == (2, "")
    line = f"many_repositories: no scheduler at {address}: {SERVERS[server]}\n"
    assert re.fullmatch(line, message)


def test_a_scheduler_that_stops_answering_gets_one_line(start: Start, project: str) -> None:
    scheduler = start("-m", "distributed.cli.dask_scheduler", "--host=127.0.0.1", "--port=0")
    address = address_of(scheduler)
    start_worker(start, address)
    command = ["many_repositories", project, "--from=-", f"--scheduler={address}"]
    client = start("-c", IMPATIENT, *command)
    client.stdout.readline()
    client.stdout.readline()
    scheduler.send_signal(signal.SIGSTOP)
    assert client.wait() == 2  # while standard input is still open
    assert client.stderr.read() == "many_repositories: the scheduler is gone\n"


def test_a_scheduler_with_tls_accepts_a_certificate(
    start: Start, project: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    authority = trustme.CA()
    authority.cert_pem.write_to_path(tmp_path / "authority.pem")
    certificate = authority.issue_cert("127.0.0.1").private_key_and_cert_chain_pem
    certificate.write_to_path(tmp_path / "certificate.pem")
    prefix = "DASK_DISTRIBUTED__COMM__"
    monkeypatch.setenv(f"{prefix}REQUIRE_ENCRYPTION", "True")
    monkeypatch.setenv(f"{prefix}TLS__CA_FILE", str(tmp_path / "authority.pem"))
    for role in ("SCHEDULER", "WORKER", "CLIENT"):
        for part in ("CERT", "KEY"):
            setting = f"{prefix}TLS__{role}__{part}"
            monkeypatch.setenv(setting, str(tmp_path / "certificate.pem"))
    listen = ["--protocol=tls", "--host=tls://127.0.0.1", "--port=0"]
    address = address_of(start("-m", "distributed.cli.dask_scheduler", *listen))
    assert address.startswith("tls://")
    start_worker(start, address)
    client = start(MANY_REPOSITORIES, project, SINCE, f"--scheduler={address}")
    output, message = client.communicate()
    assert (client.returncode, message) == (0, "")
    assert output.split()[-10:] == [project, *TOPIC_CELLS]
