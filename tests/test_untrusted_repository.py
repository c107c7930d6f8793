"""A repository whose configuration comes from a stranger and names programs to run."""

import subprocess
import sys
from pathlib import Path

import pytest
from calls import QUERY_CALLS, outcome_of
from conftest import Repository, make_git

from orvel_tarnix.utils import git_utils

# Leaves a file when it is started; as a signing program, it also claims to have signed.
PROGRAM = r""": > started; [ "$2" != -bsau ] || cat > /dev/null
echo '-----BEGIN PGP SIGNATURE-----'; printf '\n[GNUPG:] SIG_CREATED ' >&2"""
LOG_ON_A_TERMINAL = f'TERM=xterm {sys.executable} -c \'import pty; pty.spawn(["git", "log"])\''
# Settings that make git start a program, and a command that does start it.
SETTINGS = {
    "core.fsmonitor": "git status",
    "core.hooksPath": "git read-tree HEAD",
    "core.pager": LOG_ON_A_TERMINAL,
    "core.sshCommand": "git ls-remote ssh://h/x",
    "diff.external": "git diff main topic",
    "diff.x.command": "git diff main topic",
    "diff.x.textconv": "git diff main topic",
    "filter.x.clean": "git hash-object --path=a a",
    "filter.x.process": "git hash-object --path=a a",
    "filter.x.smudge": "git cat-file --filters HEAD:a",
    "log.showSignature": "git log",
    "alias.x": "git x",
}
# The value of a setting, with {} for the folder of the program, if it is not the program itself.
VALUES = {"core.hooksPath": "{}", "log.showSignature": "true", "alias.x": "!{}/git"}


@pytest.fixture
def started(repository: Repository, tmp_path: Path) -> Path:
    """Prepare the repository for all settings; return the file that the program leaves."""
    programs = make_git(tmp_path / "programs", PROGRAM)
    (programs / "post-index-change").symlink_to("git")
    repository.commit({"a": "1\n"})
    repository.git("switch", "--quiet", "--create=topic")
    repository.commit({"a": "2\n"})
    repository.git("config", "gpg.program", f"{programs}/git")
    date = {"GIT_COMMITTER_DATE": "2026-04-01T00:00:00Z"}
    repository.git("commit", "--quiet", "--amend", "--no-edit", "--gpg-sign", **date)
    (repository.root / ".git/info/attributes").write_text("* diff=x filter=x\n")
    return programs / "started"


def functions_that_start(started: Path, root: Path) -> set[str]:
    """The functions that start the program when they read the repository."""
    names = set()
    for call in QUERY_CALLS:
        started.unlink(missing_ok=True)
        outcome_of(git_utils, call._replace(args=(root, *call.args[1:])))
        if started.exists():
            names.add(call.name)
    return names


@pytest.mark.parametrize("setting", SETTINGS)
def test_no_function_starts_the_program_of_a_setting(
    repository: Repository, started: Path, setting: str
) -> None:
    value = VALUES.get(setting, "{}/git").format(started.parent)
    repository.git("config", setting, value)
    assert functions_that_start(started, repository.root) == set()
    subprocess.run(SETTINGS[setting], shell=True, cwd=repository.root, capture_output=True)
    assert started.exists(), "the command does not start it either, so the test shows nothing"


def lose_an_object(repository: Repository, program: str) -> None:
    """Remove a blob that a remote has promised to send, and let a program be that remote."""
    blob = repository.git("rev-parse", "topic:a").strip()
    (repository.root / ".git/objects" / blob[:2] / blob[2:]).unlink()
    settings = {
        "core.repositoryFormatVersion": "1",
        "extensions.partialClone": "origin",
        "remote.origin.promisor": "true",
        "remote.origin.url": f"ext::{program}",
        "protocol.ext.allow": "always",
    }
    for name, value in settings.items():
        repository.git("config", name, value)


def test_reading_a_promised_object_starts_the_program_of_its_remote(
    repository: Repository, started: Path
) -> None:
    lose_an_object(repository, f"{started.parent}/git")
    readers = {"diff_file_changes", "log_commit_changes", "diff_line_spans"}
    assert functions_that_start(started, repository.root) == readers


def test_git_allow_protocol_none_keeps_the_program_of_a_remote_from_starting(
    repository: Repository, started: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    lose_an_object(repository, f"{started.parent}/git")
    monkeypatch.setenv("GIT_ALLOW_PROTOCOL", "none")
    assert functions_that_start(started, repository.root) == set()
