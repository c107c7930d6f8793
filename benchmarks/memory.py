"""How far parsing one hunk of two million lines raises the peak of a process's memory (Linux).

Usage: memory.py MODULE, in a process of its own.
"""

import importlib
import subprocess
import sys
from pathlib import Path

from inputs import long_hunk

LINES = 2_000_000
MOST = 4.0
OURS, PLAIN = "orvel_tarnix.utils.git_utils", "plain_python"


def figures() -> str:
    """What is measured of both modules, in words."""
    command = [sys.executable, __file__]
    ours, plain = (
        float(subprocess.run([*command, module], capture_output=True, check=True).stdout)
        for module in (OURS, PLAIN)
    )
    verdict = "met" if ours < MOST else "missed"
    return (
        f"Peak memory beyond the text, one hunk of {LINES:,} lines: {ours:.1f} MiB "
        f"(less than {MOST:g} MiB: {verdict}), plain Python {plain:.0f} MiB.\n"
    )


def _rise(module: str) -> float:
    """The rise in MiB."""
    parse = importlib.import_module(module).parse_line_spans
    parse(long_hunk(20_000))
    text = long_hunk(LINES)
    before = _peak()
    parse(text)
    return (_peak() - before) / 1024


def _peak() -> int:
    # Not ru_maxrss, which a child inherits from the process that started it.
    status = Path("/proc/self/status").read_text(encoding="ascii")
    return int(status.partition("VmHWM:")[2].split()[0])


if __name__ == "__main__":
    print(_rise(sys.argv[1]))
