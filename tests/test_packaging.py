"""How a host package takes the module in."""

import subprocess
import sys
import sysconfig
import zipfile
from pathlib import Path
from typing import Any

import pytest

TREE = Path(__file__).parent.parent
USE = """
import importlib.machinery, orvel_tarnix
from orvel_tarnix.utils import git_utils, process
assert orvel_tarnix.IS_THE_HOST and process.IS_THE_HOST
assert isinstance(git_utils.__loader__, importlib.machinery.ExtensionFileLoader)
assert git_utils.get_subprocess_hidden_kwargs is process.get_subprocess_hidden_kwargs
print(git_utils.parse_line_spans("+++ a\\n@@ -0,0 +1,2 @@\\n+x\\n+y\\n"))
"""


def run(*command: str | Path, **options: Any) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def wheel_in(folder: Path, *options: str) -> Path:
    pip = [sys.executable, "-m", "pip", "--disable-pip-version-check", "wheel", "--no-deps"]
    build = ["--no-build-isolation", f"--config-settings=build-dir={folder.parent / 'cmake'}"]
    run(*pip, *build, *options, "--wheel-dir", str(folder), str(TREE))
    return next(folder.glob("*.whl"))


@pytest.fixture(scope="module")
def with_stand_in(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A wheel for those who have no host."""
    option = "--config-settings=cmake.define.WITH_STAND_IN=ON"
    return wheel_in(tmp_path_factory.mktemp("build") / "with", option)


@pytest.fixture(scope="module")
def build(with_stand_in: Path) -> tuple[Path, Path]:
    """A wheel as it is published, and the build folder it came from, which was used before."""
    folder = with_stand_in.parent.parent
    return wheel_in(folder / "without"), folder / "cmake"


@pytest.fixture
def host(tmp_path: Path) -> Path:
    """The site-packages folder of a host package whose folders have an __init__.py each."""
    bases = {"base": str(tmp_path), "platbase": str(tmp_path)}
    site_packages = Path(sysconfig.get_path("platlib", "venv", bases))
    package = site_packages / "orvel_tarnix"
    (package / "utils").mkdir(parents=True)
    (package / "__init__.py").write_text("IS_THE_HOST = True\n")
    (package / "utils" / "__init__.py").write_text("")
    (package / "utils" / "process.py").write_text(
        "IS_THE_HOST = True\ndef get_subprocess_hidden_kwargs(): return {}\n"
    )
    return site_packages


def use_in(host: Path) -> str:
    environment = {"PYTHONPATH": str(host), "PATH": "/usr/bin:/bin"}
    # -S leaves out the module that is installed for the tests.
    return run(sys.executable, "-S", "-c", USE, cwd=host, env=environment)


def files_of(wheel: Path) -> list[str]:
    names = [Path(name) for name in zipfile.ZipFile(wheel).namelist() if ".dist-info/" not in name]
    assert {name.parent for name in names} == {Path("orvel_tarnix/utils")}
    return sorted(
        name.name.replace(sysconfig.get_config_var("EXT_SUFFIX"), ".so") for name in names
    )


def test_a_wheel_holds_a_stand_in_for_the_host_only_where_it_is_asked_to(
    with_stand_in: Path, build: tuple[Path, Path]
) -> None:
    ours = ["git_utils.pyi", "git_utils.so", "py.typed"]
    assert files_of(with_stand_in) == sorted([*ours, "process.py"])
    assert files_of(build[0]) == ours


def test_a_wheel_is_installed_beside_the_host(
    build: tuple[Path, Path], host: Path, tmp_path: Path
) -> None:
    pip = [sys.executable, "-m", "pip", "--disable-pip-version-check", "install", "--no-deps"]
    run(*pip, "--ignore-installed", "--prefix", str(tmp_path), str(build[0]))
    assert use_in(host) == "{'a': [LineSpan(start=1, end=2, added=True)]}\n"


def test_the_target_is_built_into_the_tree_of_the_host(
    build: tuple[Path, Path], host: Path
) -> None:
    cmake = [sys.executable, "-m", "cmake"]
    run(*cmake, "--install", str(build[1]), "--prefix", str(host))
    assert use_in(host) == "{'a': [LineSpan(start=1, end=2, added=True)]}\n"
