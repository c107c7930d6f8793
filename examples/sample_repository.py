"""Make a small repository to try things on: the same commits, dates and ids each time.

    python examples/sample_repository.py FOLDER

Ann and Bob write a server. ``main`` holds a tag and a merge. The branch checked out,
``feature/login``, is two commits ahead of it: a file is renamed and edited, one is added whose name
git has to quote, and a binary one is replaced.
"""

import argparse
import os
import subprocess
import sys
from pathlib import Path

ANN = "Ann Lee <ann@example.org>"
BOB = "Bob Roe <bob@example.org>"
START = 1_772_452_800  # 2 March 2026, noon in UTC
DAY = 86_400

README = "# Server\n\nRun app.py.\n"
STEPS = [f"step({number})\n" for number in range(1, 9)]
# A text that begins with a NUL is binary to git, which then counts no lines.
LOGO = "\0{}"


def main() -> int:
    """Make the repository in the folder that the command line names, and return the exit code."""
    parser = argparse.ArgumentParser(description="Make a small repository to try things on.")
    parser.add_argument("folder", type=Path, metavar="FOLDER", help="must not be there yet")
    folder = parser.parse_args().folder
    if folder.exists():
        print(f"sample_repository: {folder} is there already", file=sys.stderr)
        return 2
    make(folder)
    print(f"made {folder}, with its branch feature/login checked out")
    return 0


def make(folder: Path) -> None:
    """Make the repository; no setting of the user's has a part in it."""
    folder.mkdir(parents=True)
    _git(folder, "init", "--quiet")
    _git(folder, "fast-import", "--quiet", text=_history())
    _git(folder, "symbolic-ref", "HEAD", "refs/heads/feature/login")
    _git(folder, "reset", "--quiet", "--hard")


def _history() -> str:
    """All commits, as `git fast-import` reads them."""
    start = {"README.md": README, "app.py": "".join(STEPS), "logo.png": LOGO.format(1)}
    hello = {"app.py": "".join(["hello()\n", *STEPS])}
    # Line 3 replaced, lines 6 and 7 taken out, two lines added at the end.
    login = "".join(["hello()\n", STEPS[0], "login()\n", *STEPS[2:4], *STEPS[6:], "wait()\n" * 2])
    form = {"server.py": login, 'form "login".html': "<form>\n", "logo.png": LOGO.format(2)}
    todo = {"todo.txt": "Use TLS.\n"}
    return (
        _commit("main", ANN, 0, "Start", start)
        + "reset refs/tags/v1.0\nfrom refs/heads/main\n\n"
        + _commit("notes", BOB, 1, "Note what is to do", todo, "from refs/heads/main\n")
        + _commit("main", ANN, 2, "Say hello", hello)
        + _commit("main", ANN, 3, "Merge the notes", todo, "merge refs/heads/notes\n")
        + _commit(
            *("feature/login", BOB, 7, "Call it a server", {}),
            "from refs/heads/main\nR app.py server.py\n",
        )
        + _commit("feature/login", ANN, 8, "Ask who it is", form)
    )


def _commit(
    branch: str, who: str, day: int, message: str, files: dict[str, str], first: str = ""
) -> str:
    when = f"{who} {START + day * DAY} +0000"
    changes = "".join(f"M 100644 inline {path}\n{_data(text)}" for path, text in files.items())
    header = f"commit refs/heads/{branch}\nauthor {when}\ncommitter {when}\n"
    return f"{header}{_data(message)}{first}{changes}\n"


def _data(text: str) -> str:
    return f"data {len(text.encode())}\n{text}\n"


def _git(folder: Path, *args: str, text: str = "") -> None:
    environment = {name: value for name, value in os.environ.items() if name[:4] != "GIT_"}
    environment |= {"GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_NOSYSTEM": "1"}
    subprocess.run(["git", *args], cwd=folder, env=environment, input=text.encode(), check=True)


if __name__ == "__main__":
    sys.exit(main())
