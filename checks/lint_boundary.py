"""The rules at the C API boundary that no tool knows.

Run as a program it prints each breach in the sources, and exits with 1 when there is one.
"""

import re
import sys
import sysconfig
from collections.abc import Iterator
from functools import cache
from pathlib import Path

SOURCES = Path("orvel_tarnix/utils/git_utils")

# A comment, a literal or an inclusion; whatever they say is no code.
NO_CODE = re.compile(
    r"#include[^\n]*|//[^\n]*|/\*.*?\*/|R\"\(.*?\)\""
    r"|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])+'",
    re.DOTALL,
)
OBJECT = r"(?:Ref|Py(?:Type)?Object\s*\*|std::\w+<[^;()]*\b(?:Ref|Py(?:Type)?Object\s*\*)[^;()]*>)"
NAMED = r"\s*\w+\s*[;={\[]"

# What must not be written anywhere, and why.
FORBIDDEN = {
    r"\bcatch\s*\(\s*\.\.\.": "catch (...) stops the unwinding of a daemon thread at shutdown",
    r"\bgoto\b": "goto: resources are released by their owners",
    r"\bnew\b": "new: objects are Python's, or local",
    r"\b(?:malloc|calloc|realloc|free)\s*\(": "memory that no destructor frees",
    r"~\w+\(\)(?!\s*noexcept\(false\))(?=\s*[{;=])": "a destructor that no unwinding may leave",
    r"\bstd::(?:vector|deque|list|map|unordered_map|set|optional|variant|any|function|unique_ptr"
    r"|shared_ptr)<[^;]*?\bRef\b": "a Ref in a library class whose destructor is noexcept",
    rf"\b(?:static|thread_local)\s+(?:const )?{OBJECT}{NAMED}": "a static object: the interpreters "
    "of a process would share it",
    rf"^(?:inline |const |extern )*{OBJECT}{NAMED}": "an object at namespace scope",
    r"\b(?:Py_BEGIN_ALLOW_THREADS|PyGILState_\w+|PyEval_SaveThread)\b": "letting go of the GIL",
    r"\bPy_(?:X?INCREF|XDECREF)\b": "counting references by hand",
    # Out of a tuple one may borrow, as it never changes.
    r"\b(?:PyDict_(?:Next|GetItem(?:String|WithError)?)|PyList_(?:GET_ITEM|GetItem)|PyCell_GET"
    r"|PyFunction_(?:GET_|Get)\w+|PyWeakref_GET_OBJECT)\(": "a borrowed reference to what others "
    "can replace, from Python code or from another thread",
}

NOEXCEPT = re.compile(r"^(.*)\bnoexcept\b(?!\(false\))", re.MULTILINE)
NOEXCEPT_ALLOWED = {"Ref(Ref&& other)"}
SCANNERS = "/parsing/native/"
NOT_IN_SCANNERS = re.compile(r"\b(?:Py\w+|Ref|Borrowed|Module|throw)\b")
NOT_FOR_SCANNERS = re.compile(r'#include [<"](?:Python\.h|capi/|declarations)')
MAY_CLEAR_ERRORS = {"extend"}
FUNCTION_HEAD = re.compile(r"^[A-Za-z][^;{}()]*?\b(\w+)\(", re.MULTILINE)

# API functions that return an object without a reference of the caller's own, or nothing at all.
BORROWED = {
    *("PyDict_GetItem", "PyDict_GetItemString", "PyDict_GetItemWithError", "PyList_GetItem"),
    *("PyEval_GetBuiltins", "PyFunction_GetCode", "PyFunction_GetClosure", "PyModule_GetDict"),
    *("PyErr_Format", "PyErr_FormatV", "PyErr_NoMemory", "PyErr_Occurred", "PyModuleDef_Init"),
    *("PyExceptionInstance_Class", "PyTuple_GetItem"),
    # These say themselves that they make a reference, for a slot of an object.
    *("Py_NewRef", "Py_XNewRef"),
}
OWNER = re.compile(r"Ref::(?:steal|maybe)$")

METHOD_TABLE = re.compile(r"\bPyMethodDef\s+\w+\[\]")
ENTER = r"reinterpret_cast<void \(\*\)\(\)>\(enter<body>\)\)"
OTHER_ENTRY = re.compile(rf"\bPyCFunction\w*>\((?!{ENTER})|\(PyCFunction\w*\)")
# A call, and the expressions in its arguments that can run Python code: a look-up in the module and
# every call but those of a few functions that only make or hand on an object.
CALL = re.compile(r"(?<!\bif )(?<!\bfor )(?<!\bwhile )(?<!\bswitch )\(")
LAMBDA = re.compile(r"\s*\[[&=\w, ]*\]\s*(?:\(|\{)")
RUNS_NOTHING = (
    *("text", "integer", "none", "boolean", "empty_list", "empty_dict", "list_of", "tuple_of"),
    *("get", "name", "Ref", "Borrowed", "steal", "borrow", "maybe", "to_str", "data", "size"),
    *("begin", "end", "sizeof", "subspan", "first", "size_bytes", "min", "of", "globals"),
    *("PyTuple_GET_ITEM", "PyUnicode_FromString", "PyLong_FromLongLong", "Py_TYPE"),
)
RUNS_PYTHON = re.compile(
    rf"\bmodule_?\[|\b(?!(?:{'|'.join(RUNS_NOTHING)})\()[A-Za-z_]\w*\((?!\*)", re.ASCII
)
MODULE_BODY = re.compile(r"\bPy_mod_(?:exec|create),\s*reinterpret_cast<void\*>\((\w+)\)")

type Breaches = Iterator[tuple[int, str]]


@cache
def reference_makers() -> re.Pattern[str]:
    """A call of an API function whose result the caller owns, by the interpreter's headers."""
    headers = Path(sysconfig.get_path("include")).rglob("*.h")
    declared = re.compile(r"PyAPI_FUNC\(PyObject\s*\*\)\s*(\w+)\s*\(")
    names = {name for each in headers for name in declared.findall(each.read_text("utf-8"))}
    names = names - BORROWED | {"tp_alloc", "tp_new", "tp_call"}
    return re.compile(rf"\b({'|'.join(sorted(names))})\(")


def opening_of(code: str, position: int) -> int:
    """Where the innermost parenthesis around a position opens."""
    depth = 0
    for i in range(position - 1, -1, -1):
        depth += (code[i] == ")") - (code[i] == "(")
        if depth < 0:
            return i
    return 0


def misplaced(path: Path, source: str, code: str) -> Breaches:
    """What is allowed in certain places only."""
    for pattern, reason in FORBIDDEN.items():
        yield from ((m.start(), reason) for m in re.finditer(pattern, code, re.MULTILINE))
    for found in NOEXCEPT.finditer(code):
        if path.name != "ref.hpp" or found[1].strip() not in NOEXCEPT_ALLOWED:
            yield found.start(), "noexcept: a thread that is unwound here ends the process"
    if SCANNERS in str(path):
        for found in (*NOT_IN_SCANNERS.finditer(code), *NOT_FOR_SCANNERS.finditer(source)):
            yield found.start(), f"{found[0]} in a scanner, which knows characters alone"
    for found in re.finditer(r"\bPyErr_Clear\b", code):
        if not MAY_CLEAR_ERRORS.intersection(FUNCTION_HEAD.findall(code, 0, found.start())[-1:]):
            yield found.start(), "PyErr_Clear: an error is lost"


def unowned(code: str) -> Breaches:
    """New references that no Ref takes at once."""
    for found in reference_makers().finditer(code):
        if not OWNER.search(code[: opening_of(code, found.start())]):
            yield found.start(), f"{found[1]} outside of Ref::steal and Ref::maybe"


def arguments_of(code: str, opening: int) -> list[str]:
    """The arguments between a parenthesis and the one that closes it."""
    arguments, depth = [""], 0
    for character in code[opening:]:
        depth += (character in "([{") - (character in ")]}")
        if depth == 0:
            return arguments
        if depth == 1 and character == ",":
            arguments.append("")
        elif depth > 1 or character != "(":
            arguments[-1] += character
    return arguments


def unordered(code: str) -> Breaches:
    """Calls in whose arguments more than one expression can run Python code."""
    for found in CALL.finditer(code):
        arguments = arguments_of(code, found.start())
        running = [each for each in arguments if not LAMBDA.match(each)]
        if sum(bool(RUNS_PYTHON.search(each)) for each in running) > 1:
            yield found.start(), "two arguments that can run Python code, in no certain order"


def unguarded(code: str) -> Breaches:
    """Ways from Python into the module where a C++ exception is not turned into one of Python."""
    for table in METHOD_TABLE.finditer(code):
        yield table.start(), "functions that are not made of the stub"
    for cast in OTHER_ENTRY.finditer(code):
        yield cast.start(), "a function that Python enters by another way than enter<>"
    for body in MODULE_BODY.finditer(code):
        if not re.search(rf"^int {body[1]}\([^{{}}]*\{{[^{{}}]*\bguarded\(", code, re.MULTILINE):
            yield body.start(), "a module body that is not guarded"


def lint(files: dict[str, str]) -> list[str]:
    """What is wrong with the sources, by their paths."""
    found = []
    for path, source in files.items():
        code = NO_CODE.sub(lambda text: re.sub(r"[^\n]", " ", text[0]), source)
        breaches = [*misplaced(Path(path), source, code)]
        breaches += [*unowned(code), *unordered(code), *unguarded(code)]
        for position, reason in sorted(breaches):
            found.append(f"{path}:{source.count('\n', 0, position) + 1}: {reason}")
    return found


def main() -> None:
    """Lints every source."""
    paths = sorted(SOURCES.rglob("*.[ch]pp"))
    if not any(SCANNERS in str(each) for each in paths):
        sys.exit(f"{SOURCES} has no scanners in {SCANNERS}")
    if found := lint({str(each): each.read_text("utf-8") for each in paths}):
        sys.exit("\n".join(found))


if __name__ == "__main__":
    main()
