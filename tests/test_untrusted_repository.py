"""A repository whose configuration somebody else wrote, and the programs that it names."""

import subprocess
import sys
from pathlib import Path

import pytest
from conftest import Repository, make_git
from worlds import QUESTIONS, Call, answer

from orvel_tarnix.utils import git_utils

# It leaves a mark, and signs what it is asked to sign.
PROGRAM = r""": > started; [ "$2" != -bsau ] || cat > /dev/null
echo '-----BEGIN PGP SIGNATURE-----'; printf '\n[GNUPG:] SIG_CREATED ' >&2"""
# Settings that name a program, or let it start, behind a command that starts it.
SETTINGS = {
    "git status": "core.fsmonitor",
    "git read-tree HEAD": "core.hooksPath",
    f'TERM=xterm {sys.executable} -c \'import pty; pty.spawn(["git", "log"])\'': "core.pager",
    "git diff main topic": "diff.external diff.x.command diff.x.textconv",
    "git hash-object --path=a a": "filter.x.clean filter.x.process",
    "git cat-file --filters HEAD:a": "filter.x.smudge",
    "git log": "log.showSignature",
    "git ls-remote ssh://h/x": "core.sshCommand",
    "git x": "alias.x",
}
VALUES = {"core.hooksPath": "{}", "log.showSignature": "true", "alias.x": "!{}/git"}
ROWS = [(name, command) for command, names in SETTINGS.items() for name in names.split()]


@pytest.fixture
def mark(repository: Repository, tmp_path: Path) -> Path:
    """Give what the program leaves, beside it, and a repository that could start it."""
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


def starting(root: Path, mark: Path) -> set[str]:
    """Which functions start the program."""
    names = set()
    for each in QUESTIONS:
        mark.unlink(missing_ok=True)
        answer(git_utils, Call(each.name, (root, *each.args[1:]), each.kwargs))
        names |= {each.name} if mark.exists() else set()
    return names


@pytest.mark.parametrize(("setting", "command"), ROWS)
def test_no_function_starts_what_a_setting_names(
    repository: Repository, mark: Path, setting: str, command: str
) -> None:
    repository.git("config", setting, VALUES.get(setting, "{}/git").format(mark.parent))
    assert starting(repository.root, mark) == set()
    subprocess.run(command, shell=True, cwd=repository.root, capture_output=True)
    assert mark.exists(), f"{command} does not start it either"


def test_only_reading_a_promised_object_does_unless_all_protocols_are_forbidden(
    repository: Repository, mark: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    blob = repository.git("rev-parse", "topic:a").strip()
    (repository.root / ".git/objects" / blob[:2] / blob[2:]).unlink()
    settings = ["core.repositoryFormatVersion 1", "extensions.partialClone origin"]
    settings += ["remote.origin.promisor true", "protocol.ext.allow always"]
    for setting in [*settings, f"remote.origin.url ext::{mark.parent}/git"]:
        repository.git("config", *setting.split())
    readers = {"diff_file_changes", "log_commit_changes", "diff_line_spans"}
    assert starting(repository.root, mark) == readers
    monkeypatch.setenv("GIT_ALLOW_PROTOCOL", "none")
    assert starting(repository.root, mark) == set()
