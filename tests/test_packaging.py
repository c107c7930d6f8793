"""How a host package takes the module in."""

import subprocess
import sys
import sysconfig
import zipfile
from pathlib import Path
from typing import Any

TREE = Path(__file__).parent.parent
USE = """
import importlib.machinery, orvel_tarnix
from orvel_tarnix.utils import git_utils, process
assert orvel_tarnix.IS_THE_HOST and process.IS_THE_HOST
assert isinstance(git_utils.__loader__, importlib.machinery.ExtensionFileLoader)
assert git_utils.get_subprocess_hidden_kwargs is process.get_subprocess_hidden_kwargs
print(git_utils.parse_line_spans("+++ a\\n@@ -0,0 +1,2 @@\\n+x\\n+y\\n"))
"""
PIP = ["-m", "pip", "--disable-pip-version-check"]


def python(*args: str | Path, **options: Any) -> str:
    command = [sys.executable, *args]
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def wheel(folder: Path, *options: str) -> tuple[Path, list[str]]:
    """A wheel, made in the same build folder as the one before it, and the files that it holds."""
    build = ["--no-build-isolation", f"--config-settings=build-dir={folder.parent / 'cmake'}"]
    python(*PIP, "wheel", "--no-deps", *build, *options, "--wheel-dir", folder, TREE)
    (made,) = folder.glob("*.whl")
    names = [Path(name) for name in zipfile.ZipFile(made).namelist() if ".dist-info/" not in name]
    assert {name.parent for name in names} == {Path("orvel_tarnix/utils")}
    suffix = sysconfig.get_config_var("EXT_SUFFIX")
    return made, sorted(name.name.replace(suffix, ".so") for name in names)


def make_host(prefix: Path) -> Path:
    """The site-packages folder of a host package whose folders have an __init__.py each."""
    bases = {"base": str(prefix), "platbase": str(prefix)}
    site_packages = Path(sysconfig.get_path("platlib", "venv", bases))
    package = site_packages / "orvel_tarnix"
    (package / "utils").mkdir(parents=True)
    (package / "__init__.py").write_text("IS_THE_HOST = True\n")
    (package / "utils" / "__init__.py").write_text("")
    (package / "utils" / "process.py").write_text(
        "IS_THE_HOST = True\ndef get_subprocess_hidden_kwargs(): return {}\n"
    )
    return site_packages


def test_the_module_is_installed_or_built_into_its_host(tmp_path: Path) -> None:
    ours = ["git_utils.pyi", "git_utils.so", "process.py", "py.typed"]
    stand_in = "--config-settings=cmake.define.WITH_STAND_IN=ON"
    assert wheel(tmp_path / "with", stand_in)[1] == ours
    published, files = wheel(tmp_path / "without")
    assert files == [name for name in ours if name != "process.py"]
    installed, built = make_host(tmp_path / "installed"), make_host(tmp_path / "built")
    install = [*PIP, "install", "--no-deps", "--ignore-installed", "--prefix"]
    python(*install, tmp_path / "installed", published)
    python("-m", "cmake", "--install", tmp_path / "cmake", "--prefix", built)
    for host in (installed, built):
        environment = {"PYTHONPATH": str(host), "PATH": "/usr/bin:/bin"}
        # -S leaves out the module that is installed for the tests.
        found = python("-S", "-c", USE, cwd=host, env=environment)
        assert found == "{'a': [LineSpan(start=1, end=2, added=True)]}\n"
