"""A repository with a generated history; each run creates the same one."""

import os
import shutil
import subprocess
from collections.abc import Iterator
from pathlib import Path
from random import Random

COMMITS = 2000
FILES = 400
MOVE_INTERVAL = 25
DELETED_SHARE = 0.05
LINES = 60


def isolate_git() -> None:
    """Makes git ignore the user's configuration and variables."""
    for name in [name for name in os.environ if name.startswith("GIT_")]:
        del os.environ[name]
    os.environ |= {"GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_SYSTEM": os.devnull}


def git(folder: Path, *args: str, text: str = "") -> str:
    """What git prints in the repository of that folder."""
    # Named, so that git never falls back to a repository that contains the folder.
    location = {"GIT_DIR": str(folder / ".git"), "GIT_WORK_TREE": str(folder)}
    result = subprocess.run(
        ["git", *args],
        cwd=folder,
        env=os.environ | location,
        input=text,
        stdout=subprocess.PIPE,
        encoding="utf-8",
        check=True,
    )
    return result.stdout


def create_once(folder: Path) -> Path:
    """The repository in that folder, created by the first run."""
    folder = folder.absolute()
    if not (folder / "complete").exists():
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        git(folder, "init", "--quiet", "--initial-branch=main")
        git(folder, "fast-import", "--quiet", text="".join(_history(Random(50))))
        git(folder, "reset", "--quiet", "--hard", "main")
        # One pack, as in a clone, for the libraries that read objects themselves.
        git(folder, "repack", "-adq")
        (folder / "complete").touch()
    return folder


def _history(random: Random) -> Iterator[str]:
    """Commits of 1 to 5 edited, added or deleted files; every 25th renames one."""
    files: dict[str, list[str]] = {}
    for number in range(COMMITS):
        when = f"A U Thor <author@example.com> {1_500_000_000 + number * 3600} +0000"
        yield f"commit refs/heads/main\nauthor {when}\ncommitter {when}\n"
        yield _data(f"change {number}")
        if number % MOVE_INTERVAL == MOVE_INTERVAL - 1:
            old = random.choice(sorted(files))
            new = f"moved/{number:05}.py"
            files[new] = files.pop(old)
            yield f"R {old} {new}\n"
        for index in random.sample(range(FILES), random.randint(1, 5)):
            path = f"package_{index % 20:02}/source/module_{index:03}.py"
            if path in files and random.random() < DELETED_SHARE:
                del files[path]
                yield f"D {path}\n"
                continue
            lines = files.setdefault(path, [_line(random) for _ in range(LINES)])
            at = random.randrange(len(lines))
            lines[at : at + random.randint(0, 3)] = [_line(random) for _ in range(4)]
            yield f"M 100644 inline {path}\n{_data(''.join(lines))}"


def _line(random: Random) -> str:
    return f"value_{random.getrandbits(24):06x} = compute({random.randint(0, 99)})\n"


def _data(text: str) -> str:
    return f"data {len(text.encode())}\n{text}\n"
