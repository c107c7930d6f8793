#!/bin/sh
# Prints the path of a CPython 3.13 with headers: $PYTHON if it is set, else the first one found on
# the search path or among pyenv's versions.

fits() {
    "$1" - 2>/dev/null <<'PYTHON'
import os, sys, sysconfig
header = os.path.join(sysconfig.get_path("include"), "Python.h")
fits = sys.version_info[:2] == (3, 13) and sys.implementation.name == "cpython"
sys.exit(0 if fits and os.path.exists(header) else 1)
PYTHON
}

if [ -n "$PYTHON" ]; then
    set -- "$PYTHON"
else
    set -- python3.13 python3 python "${PYENV_ROOT:-$HOME/.pyenv}"/versions/3.13*/bin/python3.13
fi
for candidate in "$@"; do
    if fits "$candidate"; then
        # Not an activated environment's, which may be the one that is about to be recreated.
        "$candidate" -c 'import sys; print(sys._base_executable)'
        exit 0
    fi
done
echo "CPython 3.13 with its headers is needed${PYTHON:+, and PYTHON=$PYTHON is not one}:" \
    "install python3.13 and python3.13-dev, or run: pyenv install 3.13" >&2
exit 1
