"""Each rule in boundary.yml reports its own violation; `make lint` checks the sources."""

import json
import re
import subprocess
import sys
from pathlib import Path

import pytest

RULES = Path(__file__).with_name("boundary.yml")
AST_GREP = Path(sys.executable).with_name("ast-grep")
# The rule, the file with the violation, and the violation
VIOLATIONS = [
    ("catch-all", "x.cpp", "void f() { try { g(); } catch (...) {} }"),
    ("destructor", "x.hpp", "class X {\n    ~X() { g(); }\n};"),
    ("noexcept", "x.cpp", "void f() noexcept { g(); }"),
    ("noexcept", "ref.hpp", "struct Ref { Ref(const Ref& other) noexcept : o_(other.o_) {} };"),
    ("owner-in-container", "x.cpp", "void f() { std::vector<Ref> all; }"),
    ("shared-object", "x.cpp", "Ref f() {\n    static Ref kept = g();\n    return kept;\n}"),
    ("shared-object", "x.cpp", "namespace n {\nconst Ref kept{};\n}"),
    ("shared-object", "x.cpp", "PyObject* kept = nullptr;"),
    ("released-lock", "x.cpp", "void f() { PyGILState_Ensure(); }"),
    ("borrowed-from-mutable", "x.cpp", "void f() { while (PyDict_Next(d, &i, &k, &v)) {} }"),
    ("unowned-reference", "x.cpp", "void f() {\n    PyObject* list = PyList_New(0);\n}"),
    ("unowned-reference", "x.cpp", "auto f() { return type->tp_alloc(type, 0); }"),
    ("unowned-reference", "x.cpp", "void f(PyObject* o) { Py_INCREF(o); }"),
    ("cleared-error", "x.cpp", "void f() {\n    PyErr_Clear();\n}"),
    ("conditional-list", "x.cpp", "bool f() { return a && is_greater({g(), h()}); }"),
    ("conditional-list", "x.cpp", "Ref f() { return a ? call({g, h()}) : b; }"),
    ("scanner", "scan/x.hpp", "void f() { throw 1; }"),
    ("scanner", "scan/x.hpp", "void f(PyObject* object);"),
    ("scanner", "scan/x.hpp", '#include "capi/ref.hpp"'),
    ("other-entry", "x.cpp", 'PyMethodDef all[] = {\n    {"f", f, METH_NOARGS, nullptr},\n};'),
    ("other-entry", "x.cpp", "auto f = reinterpret_cast<PyCFunction>(g);"),
    ("other-entry", "x.cpp", "S s[] = {{Py_mod_exec, reinterpret_cast<void*>(run)}};"),
    ("other-entry", "x.cpp", "int execute(PyObject* module) {\n    return run(module);\n}"),
]


def test_each_rule_has_a_violation() -> None:
    rules = re.findall(r"^id: (.+)$", RULES.read_text(), re.MULTILINE)
    assert set(rules) == {rule for rule, _, _ in VIOLATIONS}


@pytest.mark.parametrize(("rule", "name", "violation"), VIOLATIONS)
def test_a_rule_reports_its_violation(tmp_path: Path, rule: str, name: str, violation: str) -> None:
    source = tmp_path / name
    source.parent.mkdir(exist_ok=True)
    source.write_text(violation)
    command = [AST_GREP, "scan", "--rule", RULES, "--json", "--error", "."]
    scan = subprocess.run(command, cwd=tmp_path, stdout=subprocess.PIPE, check=False)
    reported = {each["ruleId"] for each in json.loads(scan.stdout)}
    assert rule in reported
    assert scan.returncode != 0
