"""How much parsing a hunk of two million lines raises the peak memory of a process (Linux).

Usage: memory.py MODULE, in a new process.
"""

import importlib
import subprocess
import sys
from pathlib import Path

from inputs import long_hunk

LINES = 2_000_000
LIMIT = 4.0  # MiB
OURS, PLAIN = "orvel_tarnix.utils.git_utils", "plain_python"


def figures() -> str:
    """One sentence with the figures of both modules."""
    command = [sys.executable, __file__]
    ours, plain = (
        float(subprocess.run([*command, module], capture_output=True, check=True).stdout)
        for module in (OURS, PLAIN)
    )
    verdict = "met" if ours < LIMIT else "missed"
    return (
        f"Peak memory beyond the text, one hunk of {LINES:,} lines: {ours:.1f} MiB "
        f"(less than {LIMIT:g} MiB: {verdict}), plain Python {plain:.0f} MiB.\n"
    )


def _rise(module: str) -> float:
    """The rise of the peak in MiB."""
    parse = importlib.import_module(module).parse_line_spans
    parse(long_hunk(20_000))
    text = long_hunk(LINES)
    before = _peak()
    parse(text)
    return (_peak() - before) / 1024


def _peak() -> int:
    # Not ru_maxrss: a child inherits the value of the process that started it.
    status = Path("/proc/self/status").read_text(encoding="ascii")
    return int(status.partition("VmHWM:")[2].split()[0])


if __name__ == "__main__":
    print(_rise(sys.argv[1]))
