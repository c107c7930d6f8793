"""Generates the headers that declare and execute the stub.

The stub `git_utils.pyi` is the only place that declares the module's names, their order,
signatures, docstrings and record fields. Two headers are generated from it:

declarations.hpp    for each Python function the C++ function that is its body, for each constant
                    the function that makes its value, for each record class a struct with a member
                    for each field, and the table of the record classes
frozen_stub.inc     the table of all definitions in the order of the import, and the marshalled code
                    that the import runs: the import and class statements as they are, and for each
                    function the code of

                        def function(body):
                            def function(<the signature>):
                                "<the docstring>"
                                return body(<the parameters>)
                            return function

A name without its C++ function is a linker error, a C++ function without its name or with other
parameters a compiler error; each error names what is missing.

Loading the marshalled code takes a tenth of the millisecond that compiling the text would take.

Usage: freeze_stub.py STUB FOLDER
"""

import ast
import marshal
import sys
from collections.abc import Iterator
from pathlib import Path
from types import CodeType
from typing import NamedTuple

# The file name in tracebacks and log records. Coverage tools and debuggers do not open a file whose
# name begins with "<".
FILE_NAME = "<frozen>/git_utils.pyi"
BYTES_PER_LINE = 20
# The compiler strips the indentation of docstrings, so this is replaced after compiling.
PLACEHOLDER = "the docstring"
CPP_KEYWORDS = {"class", "default", "delete", "long", "new", "operator", "short", "this", "union"}


class Definition(NamedTuple):
    """One entry of the table: its initialiser, the code it runs and what the header declares."""

    entry: str
    code: CodeType | None
    declaration: str = ""
    record: str = ""


def definitions(tree: ast.Module) -> Iterator[Definition]:
    """The definitions of the stub, in the order of the import."""
    for statement in tree.body[1:]:
        match statement:
            case ast.Import() | ast.ImportFrom():
                yield Definition("statement()", module_code([statement]))
            case ast.AnnAssign(target=ast.Name(id=name), value=None):
                function = name.strip("_").lower()
                declaration = (
                    f"namespace constants {{\nRef {function}(const ModuleState& module);\n}}"
                )
                yield Definition(f'constant("{name}", constants::{function})', None, declaration)
            case ast.ClassDef():
                fields = record_fields(statement)
                declaration = record_struct(statement.name, fields) if fields else ""
                record = statement.name if fields else ""
                yield Definition("statement()", class_code(statement), declaration, record)
            case ast.FunctionDef(name=name):
                code, declaration = function_code(statement), function_declaration(statement)
                yield Definition(f'function<{name}>("{name}")', code, declaration)
            case _:
                sys.exit(
                    f"line {statement.lineno} of the stub is not a definition that can be frozen"
                )


def module_code(statements: list[ast.stmt]) -> CodeType:
    """The code of statements as a module runs them."""
    tree = ast.fix_missing_locations(ast.Module(statements, []))
    return compile(tree, FILE_NAME, "exec", optimize=0)


def class_code(definition: ast.ClassDef) -> CodeType:
    """The code of a class statement."""
    docstring = take_docstring(definition)
    outer = module_code([definition])
    return with_inner(outer, with_docstring(inner_code(outer), docstring))


def function_code(definition: ast.FunctionDef) -> CodeType:
    """The code of the function that makes a function of the stub from its body."""
    name = definition.name
    if "body" in {name, *(each.arg for each in parameters(definition))}:
        sys.exit(f"{name}: the closure variable `body` would be hidden")
    docstring = take_docstring(definition)
    passed: list[ast.expr] = [ast.Name(each.arg, ast.Load()) for each in parameters(definition)]
    definition.body.append(ast.Return(ast.Call(ast.Name("body", ast.Load()), passed, [])))
    outer = ast.FunctionDef(
        name,
        ast.arguments([], [ast.arg("body")], None, [], [], None, []),
        [definition, ast.Return(ast.Name(name, ast.Load()))],
        [],
    )
    for node in ast.walk(outer):
        ast.copy_location(node, definition)
    factory = inner_code(module_code([outer]))
    function = with_docstring(inner_code(factory), docstring).replace(co_qualname=name)
    return with_inner(factory, function).replace(co_qualname=name)


def take_docstring(definition: ast.ClassDef | ast.FunctionDef) -> str:
    """The docstring exactly as written; the placeholder takes its place in the definition."""
    docstring = ast.get_docstring(definition, clean=False)
    if docstring is None:
        sys.exit(f"{definition.name} has no docstring")
    definition.body[0] = ast.Expr(ast.Constant(PLACEHOLDER))
    return docstring


def inner_code(outer: CodeType) -> CodeType:
    """The only code object among the constants of another."""
    (code,) = (each for each in outer.co_consts if isinstance(each, CodeType))
    return code


def with_inner(outer: CodeType, inner: CodeType) -> CodeType:
    """A copy with another inner code object."""
    constants = (inner if isinstance(each, CodeType) else each for each in outer.co_consts)
    return outer.replace(co_consts=tuple(constants))


def with_docstring(code: CodeType, docstring: str) -> CodeType:
    """A copy with the docstring instead of the placeholder."""
    assert code.co_consts.count(PLACEHOLDER) == 1
    constants = (docstring if each == PLACEHOLDER else each for each in code.co_consts)
    return code.replace(co_consts=tuple(constants))


def parameters(definition: ast.FunctionDef) -> list[ast.arg]:
    """The parameters in the order in which the body takes them."""
    arguments = definition.args
    return [*arguments.posonlyargs, *arguments.args, *arguments.kwonlyargs]


def function_declaration(definition: ast.FunctionDef) -> str:
    """The declaration of a body."""
    names = [each.arg + "_" * (each.arg in CPP_KEYWORDS) for each in parameters(definition)]
    arguments = ", ".join(["const ModuleState& module", *(f"Borrowed {name}" for name in names)])
    return f"Ref {definition.name}({arguments});"


def record_fields(definition: ast.ClassDef) -> list[str]:
    """The fields of a record class; none for another class."""
    return [
        statement.target.id
        for statement in definition.body
        if isinstance(statement, ast.AnnAssign) and isinstance(statement.target, ast.Name)
    ]


def record_struct(name: str, fields: list[str]) -> str:
    """The struct of a record class."""
    names = ", ".join(f'"{field}"_name' for field in fields)
    values = ", ".join(f"{field}.get()" for field in fields)
    return "\n".join(
        [
            f"struct {name} {{",
            f'    static constexpr Name type = "{name}"_name;',
            f"    static constexpr std::array fields{{{names}}};",
            *(f"    Borrowed {field};" for field in fields),
            f"    [[nodiscard]] std::array<PyObject*, {len(fields)}> values() const {{",
            f"        return {{{values}}};",
            "    }",
            "};",
        ]
    )


def declarations_header(made: list[Definition]) -> str:
    """The header that declares what the C++ code defines for the stub's names."""
    records = [each.record for each in made if each.record]
    lines = [
        "// Generated from the stub by freeze_stub.py.",
        "#pragma once",
        '#include "capi/module_state.hpp"',
        # Hidden, so that a missing definition is a linker error.
        'namespace [[gnu::visibility("hidden")]] git_utils {',
        *(each.declaration for each in made if each.declaration),
        "inline constexpr std::array record_classes{",
        *(f"    RecordClass{{{name}::type, {name}::fields}}," for name in records),
        "};",
        "}  // namespace git_utils",
    ]
    return "\n".join([*lines, ""])


def frozen_header(docstring: str, made: list[Definition]) -> str:
    """The header with the table and the marshalled code."""
    data = marshal.dumps((docstring, tuple(each.code for each in made)))
    rows = (data[at : at + BYTES_PER_LINE] for at in range(0, len(data), BYTES_PER_LINE))
    lines = [
        "// Generated from the stub by freeze_stub.py.",
        # A cast in it is not a constant expression; clang-tidy expects initialisation at run time.
        "// NOLINTNEXTLINE(bugprone-throwing-static-initialization)",
        "Definition definitions[] = {",
        *(f"    {each.entry}," for each in made),
        "};",
        "constexpr unsigned char frozen_stub[] = {",
        ",\n".join(",".join(map(str, row)) for row in rows),
        "};",
    ]
    return "\n".join([*lines, ""])


def main(stub: str, folder: str) -> None:
    """Write both headers."""
    tree = ast.parse(Path(stub).read_text(encoding="utf-8"), FILE_NAME)
    docstring = ast.get_docstring(tree, clean=False)
    assert docstring is not None
    made = list(definitions(tree))
    headers = {
        "declarations.hpp": declarations_header(made),
        "frozen_stub.inc": frozen_header(docstring, made),
    }
    for name, text in headers.items():
        Path(folder, name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
