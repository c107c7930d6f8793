"""Checks the exports and imports of the Windows module.

It exports only its entry point, and imports only symbols of CPython and system DLLs.

Usage: check_dll.py MODULE DEFINITIONS, the file from which the import library was made
"""

import sys
from pathlib import Path

import pefile

WINDOWS = ("kernel32.dll", "ntdll.dll", "api-ms-win-crt-")


def main(module: str, definitions: str) -> None:
    """Prints the numbers of symbols; an assertion names what should not be there."""
    file = pefile.PE(module)
    exported = [symbol.name for symbol in file.DIRECTORY_ENTRY_EXPORT.symbols]
    assert exported == [b"PyInit_git_utils"], exported
    libraries = {entry.dll.decode().lower(): entry.imports for entry in file.DIRECTORY_ENTRY_IMPORT}
    imported = {symbol.name.decode() for symbol in libraries.pop("python313.dll")}
    known = {line.split()[0] for line in Path(definitions).read_text("ascii").splitlines()}
    assert imported <= known, imported - known
    others = [library for library in libraries if not library.startswith(WINDOWS)]
    assert others == []
    print(f"{module}: PyInit_git_utils, with {len(imported)} symbols of python313.dll")


main(*sys.argv[1:])
