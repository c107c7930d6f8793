"""Freezes what Python code sees of the module, for the build to embed in it.

The stub is the one place where signatures and docstrings are written down. From it come, marshalled
into an array of bytes: the docstring of the module, the docstrings of the classes by name, and for
each function, in order, the code of

    def function(native):
        def function(<the signature>):
            "<the docstring>"
            return native(<the parameters>)
        return function

Compiling that text at every import would take a millisecond; the bytes load in 0.1 ms.

Usage: freeze_face.py STUB HEADER
"""

import ast
import marshal
import sys
from pathlib import Path
from types import CodeType

FILE_NAME = "<git_utils>"
BYTES_A_LINE = 20


def function_code(definition: ast.FunctionDef) -> CodeType:
    """The code of the factory of one of the stub's functions."""
    name, arguments = definition.name, definition.args
    parameters = [*arguments.posonlyargs, *arguments.args, *arguments.kwonlyargs]
    passed: list[ast.expr] = [ast.Name(each.arg, ast.Load()) for each in parameters]
    # The docstring's place: the compiler would strip its indentation, so it is put in below.
    place = ast.Expr(ast.Constant("docstring"))
    body = ast.Return(ast.Call(ast.Name("native", ast.Load()), passed, []))
    inner = ast.FunctionDef(name, arguments, [place, body], [], definition.returns)
    outer = ast.FunctionDef(
        name,
        ast.arguments([], [ast.arg("native")], None, [], [], None, []),
        [inner, ast.Return(ast.Name(name, ast.Load()))],
        [],
    )
    tree = ast.Module([outer], [])
    for node in ast.walk(tree):
        ast.copy_location(node, definition)
    module = compile(ast.fix_missing_locations(tree), FILE_NAME, "exec", optimize=0)
    factory = only_code(module)
    function = only_code(factory)
    assert function.co_consts[0] == "docstring"
    published = ast.get_docstring(definition, clean=False)
    function = function.replace(co_qualname=name, co_consts=(published, *function.co_consts[1:]))
    constants = (function if isinstance(each, CodeType) else each for each in factory.co_consts)
    return factory.replace(co_qualname=name, co_consts=tuple(constants))


def only_code(outer: CodeType) -> CodeType:
    """The one code object among the constants of another."""
    (code,) = (each for each in outer.co_consts if isinstance(each, CodeType))
    return code


def freeze(stub: str) -> bytes:
    """The marshalled face."""
    tree = ast.parse(stub)
    functions = [each for each in tree.body if isinstance(each, ast.FunctionDef)]
    classes = [each for each in tree.body if isinstance(each, ast.ClassDef)]
    return marshal.dumps(
        (
            ast.get_docstring(tree, clean=False),
            {each.name: ast.get_docstring(each, clean=False) for each in classes},
            tuple(function_code(each) for each in functions),
        )
    )


def main(stub: str, header: str) -> None:
    """Writes the header that holds the face of the stub."""
    data = freeze(Path(stub).read_text(encoding="utf-8"))
    rows = (data[at : at + BYTES_A_LINE] for at in range(0, len(data), BYTES_A_LINE))
    lines = ",\n".join(",".join(map(str, row)) for row in rows)
    Path(header).write_text(
        f"// Made by freeze_face.py.\nstatic const unsigned char frozen_face[] = {{\n{lines}}};\n",
        encoding="utf-8",
    )


if __name__ == "__main__":
    main(*sys.argv[1:])
