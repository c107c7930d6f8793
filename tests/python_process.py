"""Python in a process of its own, for what may crash it or changes it for good."""

import os
import subprocess
import sys

# Seconds. Under any load a process needs a tenth of this, so the limit only ends a hang. The tests
# on an emulated processor, which is much slower, are run with a longer one.
PROCESS_LIMIT = int(os.environ.get("PROCESS_LIMIT", "300"))


def run_python(*args: str) -> str:
    """Run Python with this process's search path, expect success, and return what it printed."""
    run = subprocess.run(
        [sys.executable, "-X", "faulthandler", "-W", "error", *args],
        env=os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)},
        capture_output=True,
        text=True,
        timeout=PROCESS_LIMIT,
    )
    assert run.returncode == 0, f"status {run.returncode}\n{run.stdout[-500:]}\n{run.stderr}"
    return run.stdout
