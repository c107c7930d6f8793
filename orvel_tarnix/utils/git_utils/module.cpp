// The module's entry and its body.
#include "capi/boundary.hpp"
#include "functions.hpp"
#include "namespace.hpp"

namespace git_utils {
namespace {

constexpr std::size_t functions_before_limit = 13;
constexpr long max_pathspec_chars = 16000;

void bind(PyObject* globals, const char* name, const Ref& value) {
    check(PyDict_SetItemString(globals, name, value.get()));
}

// import name
void import(PyObject* globals, const char* name) {
    bind(globals, name, Ref::steal(PyImport_ImportModule(name)));
}

// from module import names...
void import_names(PyObject* globals, const char* module, std::initializer_list<const char*> names) {
    const Ref imported = Ref::steal(PyImport_ImportModule(module));
    for (const char* name : names) {
        bind(globals, name, import_from(imported.get(), text(name).get()));
    }
}

void bind_imports(PyObject* globals) {
    for (const char* name : {"logging", "re", "subprocess"}) {
        import(globals, name);
    }
    import_names(globals, "collections.abc", {"Sequence"});
    import_names(globals, "dataclasses", {"dataclass"});
    import_names(globals, "datetime", {"datetime", "timedelta"});
    import_names(globals, "pathlib", {"Path"});
    import_names(globals, "typing", {"Any"});
    import_names(globals, "orvel_tarnix.utils.process", {"get_subprocess_hidden_kwargs"});
}

// logger = logging.getLogger(__name__)
void bind_logger(const Module& module) {
    const Ref name = module["__name__"_name];
    bind(module.globals(), "logger",
         module.call_method(module["logging"_name].get(), "getLogger"_name, name.get()));
}

// The body. In Python it would read:
//     """Git utilities for parsing git log, diff, and related commands. ..."""
//     import logging, re, subprocess
//     from collections.abc import Sequence
//     ...
//     logger = logging.getLogger(__name__)
//     TIME_SPEC_FORMS = ...
//     class GitError(RuntimeError): ...
//     @dataclass(frozen=True)
//     class FileChange: ...
//     def find_git_root(start: Path | None = None) -> Path | None: ...
void run_body(PyObject* module_object) {
    const Face face;
    const Ref self = Module::create(module_object);
    auto& module = Module::of(self.get());
    // As exec() does; C code that imports for a function of ours looks for them here.
    bind(module.globals(), "__builtins__", Ref::borrow(PyEval_GetBuiltins()));
    bind(module.globals(), "__doc__", Ref::borrow(face.module_doc()));
    bind_imports(module.globals());
    bind_logger(module);
    bind_constants(module);
    bind_exception(module, face);
    bind_records(module, face);
    bind_functions(face, self, 0, functions_before_limit);
    bind(module.globals(), "_MAX_PATHSPEC_CHARS", Ref::steal(PyLong_FromLong(max_pathspec_chars)));
    bind_functions(face, self, functions_before_limit, function_count);
    Module::remember_own(
        self,
        {"_RELATIVE_SPEC"_name, "_TWO_PATH_LETTERS"_name, "_COMMIT_START"_name, "_HUNK_HEADER"_name,
         "_C_ESCAPE"_name, "FileChange"_name, "CommitChanges"_name, "LineSpan"_name, "_span"_name,
         "_file_changes"_name, "_line_count"_name, "_patch_path"_name, "_unquote"_name});
}

int execute(PyObject* module) {
    const PyObject* done = guarded([&] {
        run_body(module);
        return Ref::borrow(Py_None);
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

PyMODINIT_FUNC PyInit_git_utils() { return PyModuleDef_Init(&git_utils::definition); }
