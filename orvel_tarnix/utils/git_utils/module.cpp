// The module's entry and its body.
#include "capi/boundary.hpp"
#include "parsing/fast_path.hpp"
#include "stub.hpp"

namespace git_utils {
namespace {

// The body. In Python it would read:
//     """Git utilities for parsing git log, diff, and related commands. ..."""
//     import logging
//     ...
//     logger = logging.getLogger(__name__)
//     TIME_SPEC_FORMS = ...
//     class GitError(RuntimeError): ...
//     @dataclass(frozen=True)
//     class FileChange: ...
//     def find_git_root(start: Path | None = None) -> Path | None: ...
void run_body(PyObject* module) {
    const Ref self = Module::create(module);
    // Set `__builtins__` as exec() does: frozen statements and C-level imports find it in the
    // globals.
    check(PyDict_SetItemString(Module::of(self).globals(), "__builtins__", PyEval_GetBuiltins()));
    run_stub(self);
    Module::remember(self, guards::all);
}

int execute(PyObject* module) {
    const PyObject* done = guarded([&] {
        run_body(module);
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

PyModuleDef definition = {
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
PyMODINIT_FUNC PyInit_git_utils() { return PyModuleDef_Init(&git_utils::definition); }
