"""What the stub declares and the C++ code defines cannot part: the build fails and names it."""

import os
import re
import shutil
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path

import pytest

TREE = Path(__file__).parents[1]
SOURCES = "orvel_tarnix/utils/git_utils"
STUB = f"{SOURCES}.pyi"
# Changes that the compiler refuses, and those that the linker does: what is put in place of what
# matches the pattern, in which file, and the name that an error must hold.
COMPILED = [
    # a body without a function, one with too many parameters
    (STUB, r'def wiki_directory.*?"""\n.*?"""\n\n', "", "git_utils::wiki_directory("),
    (STUB, r", short: bool = True", "", "git_utils::get_head_commit("),
    # a field of a record without a value, a value without a field
    (STUB, r"    added: bool\n", r"\g<0>    kind: str\n", "::kind"),
    (STUB, r"    timestamp: int\n", "", "'timestamp'"),
    # a value without a constant
    (STUB, r"_MAX_PATHSPEC_CHARS: int", "", "git_utils::constants::max_pathspec_chars("),
]
LINKED = [
    # a function without a body, a constant without a value
    (f"{SOURCES}/repository/roots.cpp", r"Ref find_repo_root.*?\n}\n", "", "::find_repo_root("),
    (STUB, r"_COMMIT_START: str", r"\g<0>\n_MARK: str", "git_utils::constants::mark("),
]

type Build = Callable[[], subprocess.CompletedProcess[str]]


@pytest.fixture(scope="module")
def tree(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A copy of what is built."""
    copy = tmp_path_factory.mktemp("tree")
    shutil.copytree(TREE / "orvel_tarnix", copy / "orvel_tarnix")
    shutil.copytree(TREE / "cmake", copy / "cmake")
    shutil.copy(TREE / "CMakeLists.txt", copy)
    return copy


@pytest.fixture(scope="module")
def build(tree: Path) -> Build:
    cmake = [sys.executable, "-m", "cmake"]
    options = ["-G", "Ninja", f"-DPython_EXECUTABLE={sys.executable}", "-DCMAKE_BUILD_TYPE=Fast"]
    subprocess.run([*cmake, "-S", tree, "-B", tree / "build", *options], check=True)

    def run() -> subprocess.CompletedProcess[str]:
        command = [*cmake, "--build", tree / "build", "--", "-k", "0"]
        environment = os.environ | {"LC_ALL": "C"}
        return subprocess.run(command, env=environment, capture_output=True, text=True, check=False)

    assert run().returncode == 0
    return run


@pytest.mark.parametrize("changes", [COMPILED, LINKED], ids=["compiled", "linked"])
def test_the_build_names_what_is_missing_or_too_much(
    tree: Path, build: Build, changes: list[tuple[str, str, str, str]]
) -> None:
    files = {name: (tree / name).read_text("utf-8") for name, *_ in changes}
    changed = dict(files)
    for name, pattern, replacement, _ in changes:
        changed[name], count = re.subn(
            pattern, replacement, changed[name], count=1, flags=re.DOTALL
        )
        assert count == 1, pattern
    for name, text in changed.items():
        (tree / name).write_text(text, "utf-8")
    try:
        answer = build()
    finally:
        for name, text in files.items():
            (tree / name).write_text(text, "utf-8")
    errors = [line for line in answer.stdout.splitlines() if re.search("error|undefined", line)]
    assert answer.returncode != 0
    unnamed = [name for *_, name in changes if not any(name in line for line in errors)]
    assert unnamed == [], errors
