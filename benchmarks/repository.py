"""A repository of made-up commits, the same at every run."""

import os
import shutil
import subprocess
from collections.abc import Iterator
from pathlib import Path
from random import Random

COMMITS = 2000
FILES = 400
MOVES_EVERY = 25
DELETED_SHARE = 0.05
LINES = 60


def shield_git() -> None:
    """Keeps the user's configuration, and a repository around, from changing what git prints."""
    for name in [name for name in os.environ if name.startswith("GIT_")]:
        del os.environ[name]
    os.environ |= {"GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_SYSTEM": os.devnull}


def git(folder: Path, *args: str, text: str = "") -> str:
    """What git prints in the repository of that folder, and of no other."""
    # Named, not discovered: whatever goes wrong, no repository around this one is written to.
    where = {"GIT_DIR": str(folder / ".git"), "GIT_WORK_TREE": str(folder)}
    result = subprocess.run(
        ["git", *args],
        cwd=folder,
        env=os.environ | where,
        input=text,
        stdout=subprocess.PIPE,
        encoding="utf-8",
        check=True,
    )
    return result.stdout


def made(folder: Path) -> Path:
    """The repository, made where it is not there yet."""
    folder = folder.absolute()
    if not (folder / "made").exists():
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        git(folder, "init", "--quiet", "--initial-branch=main")
        git(folder, "fast-import", "--quiet", text="".join(_history(Random(50))))
        git(folder, "reset", "--quiet", "--hard", "main")
        # As a clone has it, for the libraries that read the objects themselves.
        git(folder, "repack", "-adq")
        (folder / "made").touch()
    return folder


def _history(random: Random) -> Iterator[str]:
    """Commits of 1 to 5 files: edited, added, deleted, and now and then renamed."""
    files: dict[str, list[str]] = {}
    for number in range(COMMITS):
        when = f"A U Thor <author@example.com> {1_500_000_000 + number * 3600} +0000"
        yield f"commit refs/heads/main\nauthor {when}\ncommitter {when}\n"
        yield _data(f"change {number}")
        if number % MOVES_EVERY == MOVES_EVERY - 1:
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
