"""How a host package takes the module in."""

import platform
import re
import subprocess
import sys
import sysconfig
import zipfile
from pathlib import Path

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


def wheel(folder: Path, *options: str) -> tuple[Path, set[str]]:
    """A wheel, made in the same build folder as the one before it, and the files that it holds."""
    build = ["--no-build-isolation", f"--config-settings=build-dir={folder.parent / 'cmake'}"]
    python(*PIP, "wheel", "--no-deps", *build, *options, "--wheel-dir", folder, TREE)
    (made,) = folder.glob("*.whl")
    names = zipfile.ZipFile(made).namelist()
    return made, {name for name in names if ".dist-info/" not in name}


def protections(module: Path) -> set[str]:
    """The protections against exploits of memory errors that show in the file."""
    listing = output("readelf", "--wide", "--segments", "--dynamic", "--dyn-syms", module)
    (address,) = re.findall(r" ([0-9a-f]+) .* PyInit_git_utils$", listing, re.MULTILINE)
    first = f"--start-address=0x{address}", f"--stop-address={int(address, 16) + 4}"
    code = output("objdump", "--disassemble", *first, module)
    return set(re.findall("GNU_RELRO|BIND_NOW|__stack_chk_fail|endbr64|bti", listing + code))


def test_the_module_is_installed_or_built_into_its_host(tmp_path: Path) -> None:
    stand_in = wheel(tmp_path / "with", "--config-settings=cmake.define.WITH_STAND_IN=ON")
    assert stand_in[1] == OURS | {"orvel_tarnix/utils/process.py"}
    published, files = wheel(tmp_path / "without")
    assert files == OURS
    prefix, built = str(tmp_path / "installed"), tmp_path / "built"
    installed = Path(sysconfig.get_path("platlib", vars={"base": prefix, "platbase": prefix}))
    install = [*PIP, "install", "--no-deps", "--ignore-installed", "--prefix", prefix, published]
    build = ["-m", "cmake", "--install", tmp_path / "cmake", "--prefix", built]
    for host, command in ((installed, install), (built, build)):
        utils = host / "orvel_tarnix/utils"
        utils.mkdir(parents=True)
        # Regular packages, so nothing is taken from the module that is installed for the tests.
        for folder in (utils.parent, utils):
            (folder / "__init__.py").touch()
        (utils / "process.py").write_text("get_subprocess_hidden_kwargs = dict\n")
        python(*command)
        assert python("-c", USE, cwd=host) == "{'a': [LineSpan(start=1, end=2, added=True)]}\n"
        hardened = {"GNU_RELRO", "BIND_NOW", "__stack_chk_fail", LANDING_PAD}
        assert protections(utils / BINARY) == hardened
    # No call of the module's has a checked variant, so this one leaves no trace in the file.
    assert "-D_FORTIFY_SOURCE=3" in (tmp_path / "cmake" / "build.ninja").read_text()
