"""Each rule of the boundary finds its own breach, and nothing in code that keeps it."""

import lint_boundary
import pytest

BREACHES = [
    ("x.cpp", "void f() { try { g(); } catch (...) {} }", "catch (...)"),
    ("x.cpp", "void f() { goto end; }", "goto"),
    ("x.cpp", "auto* f() { return new Thing; }", "new:"),
    ("x.cpp", "void* f() { return malloc(1); }", "no destructor frees"),
    ("x.hpp", "class X {\n    ~X() { g(); }\n};", "may leave"),
    ("x.cpp", "void f() { std::vector<Ref> all; }", "library class"),
    ("x.cpp", "Ref f() {\n    static Ref kept = g();\n}", "share it"),
    ("x.cpp", "static PyObject* kept = nullptr;", "share it"),
    ("x.cpp", "PyObject* kept;", "namespace scope"),
    ("x.cpp", "const Ref kept{};", "namespace scope"),
    ("x.cpp", "std::array<Ref, 3> kept;", "namespace scope"),
    ("x.cpp", "thread_local std::vector<PyObject*> kept;", "share it"),
    ("x.cpp", "void f() { Py_BEGIN_ALLOW_THREADS }", "GIL"),
    ("x.cpp", "void f(PyObject* o) { Py_INCREF(o); }", "by hand"),
    ("x.cpp", "void f() noexcept { g(); }", "noexcept:"),
    ("ref.hpp", "    Ref(const Ref& other) noexcept : o_(other.o_) {}", "noexcept:"),
    ("parsing/native/scan.hpp", "template <class Unit>\nvoid f(PyObject* o);", "in a scanner"),
    ("parsing/native/x.hpp", "void f() { throw 1; }", "in a scanner"),
    ("parsing/native/x.hpp", '#include "capi/ref.hpp"', "in a scanner"),
    ("x.cpp", "void f() {\n    PyErr_Clear();\n}", "an error is lost"),
    ("x.cpp", "void f() {\n    PyObject* list = PyList_New(0);\n}", "outside of Ref::steal"),
    ("x.cpp", "void f(PyTypeObject* t) { g(Ref::borrow(t->tp_alloc(t, 0))); }", "tp_alloc outside"),
    ("x.cpp", "void f() { call(PyObject_Str(o), Ref::steal(x)); }", "PyObject_Str outside"),
    ("x.cpp", "void f() { while (PyDict_Next(map, &i, &key, &value)) {} }", "others can replace"),
    ("x.cpp", "auto f() { return Ref::borrow(PyFunction_GET_CODE(o)); }", "others can replace"),
    ("x.cpp", "auto f() { return call(module[name], format(x)); }", "no certain order"),
    ("x.cpp", 'auto f() { return composed("%U..%U", format(a), format(b)); }', "no certain order"),
    ("x.cpp", "auto f() { return g(Ref::steal(PyNumber_Long(a)), h(b)); }", "no certain order"),
    ("x.cpp", 'PyMethodDef all[] = {\n    {"f", f, METH_NOARGS, nullptr},\n};', "of the stub"),
    ("x.cpp", "auto f = reinterpret_cast<PyCFunction>(g);", "another way"),
    ("x.cpp", "auto f = (PyCFunction)g;", "another way"),
    (
        "x.cpp",
        "int go(PyObject* m) {\n    run(m);\n}\n{Py_mod_exec, reinterpret_cast<void*>(go)},",
        "not guarded",
    ),
]

KEPT = """
#include <new>
// catch (...) and goto are words here; so is "PyList_New(0)" below.
void extend(PyObject* list) {
    PyErr_Clear();
    const Ref all = Ref::steal(is_long ? PyList_New(0) : PyTuple_New(0));
    const Ref one = Ref::maybe(PyIter_Next(Ref::steal(PyObject_GetIter(list)).get()));
    raise(PyExc_TypeError, "new: PyList_New(0)", PyTuple_GET_ITEM(all.get(), 0));
}
~Ref() noexcept(false) {}
Ref f(const Module& module, Borrowed a, Borrowed b) {
    const Ref first = PyTuple_GET_ITEM(code, 0);
    append(commits, fill_commit({.timestamp = g(a), .files = h(b)}));
    with_text(call(a, text("x"), b), [&](auto units) { return read(module, units); });
}
auto f = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(enter<body>));
int go(PyObject* m) {
    return guarded([&] { run(m); });
}
PyModuleDef_Slot slots[] = {{Py_mod_exec, reinterpret_cast<void*>(go)}};
"""


@pytest.mark.parametrize(("name", "source", "reason"), BREACHES)
def test_a_breach_is_found(name: str, source: str, reason: str) -> None:
    (found,) = lint_boundary.lint({f"room/{name}": f"\n{source}\n"})
    assert found.startswith(f"room/{name}:")
    assert reason in found


def test_code_that_keeps_the_rules_passes() -> None:
    assert lint_boundary.lint({"x.cpp": KEPT}) == []
