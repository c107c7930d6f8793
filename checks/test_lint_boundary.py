"""Each rule of the boundary finds its own breach; that the sources keep them all is linted."""

import lint_boundary
import pytest

BREACHES = [
    ("x.cpp", "void f() { try { g(); } catch (...) {} }", "catch (...)"),
    ("x.cpp", "auto* f() { return new Thing; }", "new:"),
    ("x.cpp", "void* f() { return malloc(1); }", "no destructor frees"),
    ("x.hpp", "class X {\n    ~X() { g(); }\n};", "may leave"),
    ("x.cpp", "void f() { std::vector<Ref> all; }", "library class"),
    ("x.cpp", "Ref f() {\n    static Ref kept = g();\n}", "share it"),
    ("x.cpp", "const Ref kept{};", "namespace scope"),
    ("x.cpp", "void f() { Py_BEGIN_ALLOW_THREADS }", "GIL"),
    ("x.cpp", "void f(PyObject* o) { Py_INCREF(o); }", "by hand"),
    ("x.cpp", "void f() noexcept { g(); }", "noexcept:"),
    ("ref.hpp", "    Ref(const Ref& other) noexcept : o_(other.o_) {}", "noexcept:"),
    ("parsing/native/x.hpp", "void f() { throw 1; }", "in a scanner"),
    ("parsing/native/x.hpp", '#include "capi/ref.hpp"', "in a scanner"),
    ("x.cpp", "void f() {\n    PyErr_Clear();\n}", "an error is lost"),
    ("x.cpp", "void f() {\n    PyObject* list = PyList_New(0);\n}", "outside of Ref::steal"),
    ("x.cpp", "void f() { while (PyDict_Next(map, &i, &key, &value)) {} }", "others can replace"),
    ("x.cpp", 'auto f() { return composed("%U..%U", format(a), format(b)); }', "no certain order"),
    ("x.cpp", 'PyMethodDef all[] = {\n    {"f", f, METH_NOARGS, nullptr},\n};', "of the stub"),
    ("x.cpp", "auto f = reinterpret_cast<PyCFunction>(g);", "another way"),
    ("x.cpp", "int f() {\n    g();\n}\n{Py_mod_exec, reinterpret_cast<void*>(f)},", "not guarded"),
]


@pytest.mark.parametrize(("name", "source", "reason"), BREACHES)
def test_a_breach_is_found(name: str, source: str, reason: str) -> None:
    (found,) = lint_boundary.lint({f"room/{name}": f"\n{source}\n"})
    assert found.startswith(f"room/{name}:")
    assert reason in found
