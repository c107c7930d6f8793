"""What the stub declares and the C++ code defines cannot diverge: the build fails and names it."""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

TREE = Path(__file__).parents[2]
SOURCES = "orvel_tarnix/utils/git_utils"
STUB = f"{SOURCES}.pyi"
# Each change: file, pattern, replacement, and the name that an error must contain
REJECTED_BY_COMPILER = [
    # a body without a function, one with too many parameters
    (STUB, r'def wiki_directory.*?"""\n.*?"""\n\n', "", "git_utils::wiki_directory("),
    (STUB, r", short: bool = True", "", "git_utils::get_head_commit("),
    # a field of a record without a value, a value without a field
    (STUB, r"    added: bool\n", r"\g<0>    kind: str\n", "::kind"),
    (STUB, r"    timestamp: int\n", "", "'timestamp'"),
    # a value without a constant
    (STUB, r"_MAX_PATHSPEC_CHARS: int", "", "git_utils::constants::max_pathspec_chars("),
]
REJECTED_BY_LINKER = [
    # a function without a body, a constant without a value
    (f"{SOURCES}/repository/roots.cpp", r"Ref find_repo_root.*?\n}\n", "", "::find_repo_root("),
    (STUB, r"_COMMIT_START: str", r"\g<0>\n_MARK: str", "git_utils::constants::mark("),
]


@pytest.mark.parametrize(
    "changes", [REJECTED_BY_COMPILER, REJECTED_BY_LINKER], ids=["compiler", "linker"]
)
def test_the_build_names_missing_and_undeclared_definitions(
    tmp_path: Path, changes: list[tuple]
) -> None:
    for folder in ("orvel_tarnix", "cmake"):
        shutil.copytree(TREE / folder, tmp_path / folder)
    shutil.copy(TREE / "CMakeLists.txt", tmp_path)
    for name, pattern, replacement, _ in changes:
        text = (tmp_path / name).read_text("utf-8")
        text, count = re.subn(pattern, replacement, text, count=1, flags=re.DOTALL)
        assert count == 1, pattern
        (tmp_path / name).write_text(text, "utf-8")
    cmake, build = [sys.executable, "-m", "cmake"], tmp_path / "build"
    # A build type that CMake does not know: no optimisation, so it compiles quickly
    options = [f"-DPython_EXECUTABLE={sys.executable}", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None"]
    subprocess.run([*cmake, *options, "-S", tmp_path, "-B", build], check=True)
    command, plain = [*cmake, "--build", build, "--", "-k", "0"], os.environ | {"LC_ALL": "C"}
    answer = subprocess.run(command, env=plain, stdout=subprocess.PIPE, text=True, check=False)
    errors = [line for line in answer.stdout.splitlines() if re.search("error:|undefined", line)]
    assert [name for *_, name in changes if not any(name in line for line in errors)] == []
