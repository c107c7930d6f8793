"""Searches for an input on which the native module crashes or differs from the plain-Python one.

`make fuzz` runs it on a build with coverage feedback and the address sanitizer. Its arguments are
those of libFuzzer.
"""

import sys

import atheris

with atheris.instrument_imports(include=["plain_python"]):
    import differential

if __name__ == "__main__":
    atheris.Setup(sys.argv, differential.check)
    atheris.Fuzz()
