"""How child processes are started: a stand-in for the host package's own module.

Development, tests and examples import it; the wheel leaves it out, for the host brings its own.
"""

import subprocess
import sys
from typing import Any


def get_subprocess_hidden_kwargs() -> dict[str, Any]:
    """Keywords for `subprocess.run` that keep a console window from appearing (Windows only)."""
    if sys.platform != "win32":
        return {}
    startup = subprocess.STARTUPINFO()
    startup.dwFlags |= subprocess.STARTF_USESHOWWINDOW
    startup.wShowWindow = subprocess.SW_HIDE
    return {"startupinfo": startup, "creationflags": subprocess.CREATE_NO_WINDOW}
