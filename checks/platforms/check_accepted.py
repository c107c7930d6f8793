"""Fails unless the tags of a wheel are among those that this interpreter installs.

Usage: check_accepted.py WHEEL
"""

import sys
from pathlib import Path

from packaging.tags import sys_tags
from packaging.utils import parse_wheel_filename

wheel = Path(sys.argv[1]).name
if parse_wheel_filename(wheel)[3].isdisjoint(sys_tags()):
    sys.exit(f"{sys.executable} does not install {wheel}")
