"""Searches for an input on which the native parsers crash or differ from the plain Python ones.

Started by `make fuzz`, which builds the module with coverage feedback and the address sanitizer.
The arguments are libFuzzer's own.
"""

import sys

import atheris

with atheris.instrument_imports(include=["plain_python"]):
    import differential

if __name__ == "__main__":
    atheris.Setup(sys.argv, differential.check)
    atheris.Fuzz()
