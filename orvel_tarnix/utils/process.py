"""A stand-in for the module with which the host package configures child processes.

For development, tests and examples. The wheel contains it only if built with ``WITH_STAND_IN=ON``,
because a host has its own.
"""

import subprocess
import sys
from typing import Any


def get_subprocess_hidden_kwargs() -> dict[str, Any]:
    """Keywords for ``subprocess.run`` that hide console windows on Windows; empty elsewhere."""
    if sys.platform != "win32":
        return {}
    startup = subprocess.STARTUPINFO()
    startup.dwFlags |= subprocess.STARTF_USESHOWWINDOW
    startup.wShowWindow = subprocess.SW_HIDE
    return {"startupinfo": startup, "creationflags": subprocess.CREATE_NO_WINDOW}
