"""How a host package takes the module in."""

import platform
import re
import subprocess
import sys
import sysconfig
import zipfile
from pathlib import Path
from typing import NamedTuple

import pytest

TREE = Path(__file__).parent.parent
BINARY = f"git_utils{sysconfig.get_config_var('EXT_SUFFIX')}"
OURS = {f"orvel_tarnix/utils/{name}" for name in (BINARY, "git_utils.pyi", "py.typed")}
USE = """
from orvel_tarnix.utils import git_utils
assert git_utils.get_subprocess_hidden_kwargs is dict
print(git_utils.parse_line_spans("+++ a\\n@@ -0,0 +1,2 @@\\n+x\\n+y\\n"))
"""
PIP = ["-m", "pip", "--disable-pip-version-check"]

# The instruction that marks a valid target of an indirect call.
LANDING_PAD = {"x86_64": "endbr64", "aarch64": "bti"}[platform.machine()]


def output(*command: str | Path, cwd: Path = TREE) -> str:
    return subprocess.check_output(command, text=True, cwd=cwd)


def python(*args: str | Path, cwd: Path = TREE) -> str:
    return output(sys.executable, *args, cwd=cwd)


def make_wheel(folder: Path, *options: str) -> Path:
    """Make a wheel in the same build folder as the one before it."""
    build = ["--no-build-isolation", f"--config-settings=build-dir={folder.parent / 'cmake'}"]
    python(*PIP, "wheel", "--no-deps", *build, *options, "--wheel-dir", folder, TREE)
    (made,) = folder.glob("*.whl")
    return made


def files_of(wheel: Path) -> set[str]:
    """The files of the wheel except its metadata."""
    return {name for name in zipfile.ZipFile(wheel).namelist() if ".dist-info/" not in name}


def protections(module: Path) -> set[str]:
    """The protections against exploits of memory errors that show in the file."""
    listing = output("readelf", "--wide", "--segments", "--dynamic", "--dyn-syms", module)
    (address,) = re.findall(r" ([0-9a-f]+) .* PyInit_git_utils$", listing, re.MULTILINE)
    first = f"--start-address=0x{address}", f"--stop-address={int(address, 16) + 4}"
    code = output("objdump", "--disassemble", *first, module)
    return set(re.findall("GNU_RELRO|BIND_NOW|__stack_chk_fail|endbr64|bti", listing + code))


class Built(NamedTuple):
    """Two wheels, and two hosts with the module."""

    wheel: Path
    wheel_with_stand_in: Path
    hosts: dict[str, Path]


@pytest.fixture(scope="module")
def built(tmp_path_factory: pytest.TempPathFactory) -> Built:
    """Build both wheels; install one into a host, and the last build into another."""
    tmp_path = tmp_path_factory.mktemp("packaging")
    with_stand_in = "--config-settings=cmake.define.WITH_STAND_IN=ON"
    wheel_with_stand_in = make_wheel(tmp_path / "with", with_stand_in)
    wheel = make_wheel(tmp_path / "without")
    prefix, cmake_host = str(tmp_path / "installed"), tmp_path / "built"
    pip_host = Path(sysconfig.get_path("platlib", vars={"base": prefix, "platbase": prefix}))
    hosts = {"pip": pip_host, "cmake": cmake_host}
    for host in hosts.values():
        make_host_package(host)
    python(*PIP, "install", "--no-deps", "--ignore-installed", "--prefix", prefix, wheel)
    python("-m", "cmake", "--install", tmp_path / "cmake", "--prefix", cmake_host)
    return Built(wheel, wheel_with_stand_in, hosts)


def make_host_package(host: Path) -> None:
    """Make the packages of the host, with its own module `process`."""
    utils = host / "orvel_tarnix/utils"
    utils.mkdir(parents=True)
    # Regular packages, so nothing is taken from the module that is installed for the tests.
    for folder in (utils.parent, utils):
        (folder / "__init__.py").touch()
    (utils / "process.py").write_text("get_subprocess_hidden_kwargs = dict\n")


def test_the_published_wheel_has_the_module_and_its_types(built: Built) -> None:
    assert files_of(built.wheel) == OURS


def test_a_wheel_has_the_stand_in_on_request(built: Built) -> None:
    assert files_of(built.wheel_with_stand_in) == OURS | {"orvel_tarnix/utils/process.py"}


@pytest.mark.parametrize("installer", ["pip", "cmake"])
def test_the_module_runs_in_its_host(built: Built, installer: str) -> None:
    printed = python("-c", USE, cwd=built.hosts[installer])
    assert printed == "{'a': [LineSpan(start=1, end=2, added=True)]}\n"


@pytest.mark.parametrize("installer", ["pip", "cmake"])
def test_the_module_is_protected_against_memory_errors(built: Built, installer: str) -> None:
    module = built.hosts[installer] / "orvel_tarnix/utils" / BINARY
    assert protections(module) == {"GNU_RELRO", "BIND_NOW", "__stack_chk_fail", LANDING_PAD}
