// The module's entry point, and its import: it executes the stub `git_utils.pyi`, which the build
// has frozen, and binds what the stub declares in its order.
#include <Python.h>
#include <marshal.h>

#include "capi/boundary.hpp"
#include "declarations.hpp"
#include "parsing/fast_path.hpp"

namespace git_utils {
namespace {

// How the import binds one name.
struct Definition {
    const char* name;
    Ref (*value)(const ModuleState&);  // of a constant
    PyMethodDef body;                  // of a function
};

// An import or class statement binds its own names.
constexpr Definition statement() { return {}; }

constexpr Definition constant(const char* name, Ref (*value)(const ModuleState&)) {
    return {name, value, {}};
}

template <auto body>
constexpr Definition function(const char* name) {
    // The API takes functions of every signature as PyCFunction; the flag says which one it is.
    return {name,
            nullptr,
            {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(enter<body>)),
             METH_FASTCALL, nullptr}};
}

// The table of definitions, and the marshalled code that they run.
#include "frozen_stub.inc"

// The docstring, and for each definition the code that it runs, or None
Ref unmarshalled_stub() {
    Ref stub = Ref::maybe(PyMarshal_ReadObjectFromString(reinterpret_cast<const char*>(frozen_stub),
                                                         sizeof(frozen_stub)));
    if (!stub) {
        // Without memory it can fail without raising.
        if (PyErr_Occurred() == nullptr) {
            PyErr_NoMemory();
        }
        throw PythonError{};
    }
    return stub;
}

// A Python function that passes its arguments to the body in its closure, made by the frozen
//     def find_git_root(body):
//         def find_git_root(start: Path | None = None) -> Path | None:
//             return body(start)
//         return find_git_root
// This call evaluates defaults and annotations. The interpreter itself reports wrong calls, and
// gives the function its signature and its name in log records and tracebacks.
Ref function_of(Borrowed state, PyMethodDef& body, Borrowed code) {
    const Ref maker = Ref::steal(PyFunction_New(code.get(), ModuleState::of(state).globals()));
    return call({maker, Ref::steal(PyCFunction_New(&body, state.get()))});
}

// Binds the built-ins, as exec() does, since frozen statements and C-level imports find them in the
// globals; the docstring; and the names of the imports, constants, classes and functions.
void run_stub(Borrowed state) {
    const ModuleState& module = ModuleState::of(state);
    const Ref stub = unmarshalled_stub();
    const auto bind = [&](const char* name, Borrowed value) {
        check(PyDict_SetItemString(module.globals(), name, value.get()));
    };
    bind("__builtins__", PyEval_GetBuiltins());
    bind("__doc__", PyTuple_GET_ITEM(stub.get(), 0));
    PyObject* codes = PyTuple_GET_ITEM(stub.get(), 1);
    Py_ssize_t index = 0;
    for (Definition& each : definitions) {
        PyObject* code = PyTuple_GET_ITEM(codes, index++);
        if (each.value != nullptr) {
            bind(each.name, each.value(module));
        } else if (each.body.ml_meth != nullptr) {
            bind(each.name, function_of(state, each.body, code));
        } else {
            Ref::steal(PyEval_EvalCode(code, module.globals(), module.globals()));
        }
    }
}

int execute(PyObject* module) {
    const PyObject* done = guarded([&] {
        const Ref state = ModuleState::create(module);
        run_stub(state);
        ModuleState::take_snapshots(state, guards::all);
        return none();
    });
    return done == nullptr ? -1 : 0;
}

PyModuleDef_Slot slots[] = {
    {Py_mod_exec, reinterpret_cast<void*>(execute)},
    {Py_mod_multiple_interpreters, Py_MOD_PER_INTERPRETER_GIL_SUPPORTED},
    {Py_mod_gil, Py_MOD_GIL_NOT_USED},
    {0, nullptr},
};

PyModuleDef module_definition = {
    .m_base = PyModuleDef_HEAD_INIT,
    .m_name = "git_utils",
    .m_doc = nullptr,
    .m_size = 0,
    .m_methods = nullptr,
    .m_slots = slots,
    .m_traverse = nullptr,
    .m_clear = nullptr,
    .m_free = nullptr,
};

}  // namespace
}  // namespace git_utils

PyMODINIT_FUNC PyInit_git_utils();
PyMODINIT_FUNC PyInit_git_utils() { return PyModuleDef_Init(&git_utils::module_definition); }
