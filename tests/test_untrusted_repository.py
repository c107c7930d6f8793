"""A repository whose configuration somebody else wrote, and the programs that it names."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import FakeGit, Repository
from worlds import QUESTIONS, Call, answer

from orvel_tarnix.utils import git_utils

# It leaves a mark, and signs what it is asked to sign.
PROGRAM = r""": > started; [ "$2" != -bsau ] || cat > /dev/null
echo '-----BEGIN PGP SIGNATURE-----'; printf '\n[GNUPG:] SIG_CREATED ' >&2"""
SIGN = "commit --quiet --allow-empty --message=x --gpg-sign"
ON_A_TERMINAL = f"TERM=xterm {sys.executable} -c 'import pty, sys; pty.spawn(sys.argv[1:])' git"
# Settings that name a program, behind a command that starts it.
SETTINGS = {
    "git status": "core.fsmonitor",
    "git read-tree HEAD": "core.hooksPath",
    f"{ON_A_TERMINAL} log": "core.pager pager.log",
    "git commit --amend --allow-empty": "core.editor",
    "git rebase --interactive --root": "sequence.editor",
    "git diff main topic": "diff.external diff.x.command diff.x.textconv",
    "git difftool --no-prompt --tool=x main topic": "difftool.x.cmd",
    "git merge main; git mergetool --no-prompt --tool=x": "merge.x.driver mergetool.x.cmd",
    "git hash-object --path=a a": "filter.x.clean filter.x.process",
    "git cat-file --filters HEAD:a": "filter.x.smudge",
    f"git {SIGN}": "gpg.program",
    f"git -c gpg.format=ssh {SIGN}": "gpg.ssh.defaultKeyCommand",
    f"git -c gpg.format=ssh {SIGN}=key": "gpg.ssh.program",
    "git -c gpg.program={0}/git log": "log.showSignature",
    "git ls-remote ssh://h/x": "core.sshCommand",
    "git ls-remote git://h/x": "core.gitProxy",
    "echo url=http://h | git credential fill": "core.askPass credential.helper",
    "git x": "alias.x",
    "git clone --no-local . copy": "uploadpack.packObjectsHook",
    "git -c remote.origin.url=. ls-remote origin": "remote.origin.uploadpack",
    "git -c remote.origin.url=. push origin HEAD": "remote.origin.receivepack",
    "git -c protocol.ext.allow=always ls-remote x": "remote.x.url",
    "git -c protocol.ext.allow=always -c remote.origin.url={0}/git fetch": "remote.origin.vcs",
    f"echo 4 > a; {ON_A_TERMINAL} add --patch": "interactive.diffFilter",
    "git interpret-trailers --trailer=x=y": "trailer.x.command",
    "git archive --format=x HEAD": "tar.x.command",
}
VALUES = {"core.hooksPath": "{0}", "log.showSignature": "true", "alias.x": "!{0}/git"}
VALUES |= {"remote.x.url": "ext::{0}/git", "remote.origin.vcs": "ext"}


@pytest.fixture
def mark(repository: Repository, tmp_path: Path) -> Path:
    """Give what the program leaves, beside it, and a repository with work for filters."""
    programs = FakeGit(tmp_path / "programs")(PROGRAM)
    (programs / "post-index-change").symlink_to("git")
    repository.commit({"a": "1\n"}, "2026-04-01T00:00:00Z")
    repository.git("branch", "topic")
    repository.commit({"a": "2\n"}, "2026-04-02T00:00:00Z")
    repository.git("switch", "--quiet", "topic")
    repository.commit({"a": "3\n"}, "2026-04-03T00:00:00Z")
    repository.git("-c", f"gpg.program={programs}/git", *SIGN.split())
    (repository.root / ".git/info/attributes").write_text("* diff=x merge=x filter=x\n")
    return programs / "started"


def starting(root: Path, mark: Path) -> set[str]:
    """Which functions start the program."""
    names = set()
    for each in QUESTIONS:
        mark.unlink(missing_ok=True)
        answer(git_utils, Call(each.name, (root, *each.args[1:]), each.kwargs))
        names |= {each.name} if mark.exists() else set()
    return names


def test_no_function_starts_what_a_setting_names(repository: Repository, mark: Path) -> None:
    rows = [(name, command) for command, names in SETTINGS.items() for name in names.split()]
    for setting, command in rows:
        value, starts = (
            text.format(mark.parent) for text in (VALUES.get(setting, "{0}/git"), command)
        )
        copy = shutil.copytree(repository.root, mark.with_name(setting))
        config = {"GIT_CONFIG_GLOBAL": f"{copy}/config"}
        repository.git("config", "--global", setting, value, **config)
        mark.unlink(missing_ok=True)
        silent = {"check": False, "capture_output": True}
        subprocess.run(starts, shell=True, cwd=copy, env=os.environ | config, **silent)
        assert mark.exists(), f"{setting} is not what {command} looks at"
        repository.git("config", setting, value)
    assert starting(repository.root, mark) == set()


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
