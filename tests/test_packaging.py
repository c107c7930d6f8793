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


@pytest.fixture(scope="module")
def build(tmp_path_factory: pytest.TempPathFactory) -> tuple[Path, Path]:
    """A wheel, and the build folder it came from."""
    folder = tmp_path_factory.mktemp("build")
    pip = [sys.executable, "-m", "pip", "--disable-pip-version-check", "wheel", "--no-deps"]
    options = ["--no-build-isolation", f"--config-settings=build-dir={folder / 'cmake'}"]
    run(*pip, *options, "--wheel-dir", str(folder), str(TREE))
    return next(folder.glob("*.whl")), folder / "cmake"


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


def test_the_wheel_holds_the_module_and_its_stub_and_nothing_of_the_host(
    build: tuple[Path, Path],
) -> None:
    names = zipfile.ZipFile(build[0]).namelist()
    ours = [name for name in names if ".dist-info/" not in name]
    assert sorted(Path(name).suffix for name in ours) == [".pyi", ".so", ".typed"]
    assert {str(Path(name).parent) for name in ours} == {"orvel_tarnix/utils"}


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
