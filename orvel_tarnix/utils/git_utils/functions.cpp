#include "functions.hpp"

#include <marshal.h>

#include "capi/boundary.hpp"
#include "commands/commands.hpp"
#include "frozen_face.hpp"
#include "parsing/parsing.hpp"
#include "repository/repository.hpp"
#include "runner/runner.hpp"
#include "timespec/timespec.hpp"

namespace git_utils {
namespace {

template <auto body>
constexpr PyMethodDef native(const char* name) {
    // The API's own way of passing a function of another signature.
    return {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(enter<body>)),
            METH_FASTCALL, nullptr};
}

// The native bodies, in binding order; each bears the name of its function.
// A cast is not constant, so the table counts as made at run time.
// NOLINTNEXTLINE(bugprone-throwing-static-initialization)
PyMethodDef natives[] = {
    native<repository::find_git_root>("find_git_root"),
    native<repository::find_repo_root>("find_repo_root"),
    native<repository::resolve_display_branch>("resolve_display_branch"),
    native<repository::normalize_branch_name>("normalize_branch_name"),
    native<timespec::parse_time_spec>("parse_time_spec"),
    native<repository::sanitize_branch_name>("sanitize_branch_name"),
    native<repository::wiki_root>("wiki_root"),
    native<repository::wiki_directory>("wiki_directory"),
    native<runner::run_git_command>("run_git_command"),
    native<repository::get_head_commit>("get_head_commit"),
    native<repository::get_default_branch>("get_default_branch"),
    native<repository::branch_exists>("branch_exists"),
    native<timespec::get_authors_for_period>("get_authors_for_period"),
    native<repository::resolve_commit>("resolve_commit"),
    native<repository::count_commits>("count_commits"),
    native<repository::commit_before>("commit_before"),
    native<commands::diff_file_changes>("diff_file_changes"),
    native<commands::log_commit_changes>("log_commit_changes"),
    native<commands::diff_line_spans>("diff_line_spans"),
    native<parsing::parse_file_changes>("parse_file_changes"),
    native<parsing::parse_commit_changes>("parse_commit_changes"),
    native<parsing::parse_line_spans>("parse_line_spans"),
    native<parsing::_span>("_span"),
    native<parsing::_file_changes>("_file_changes"),
    native<parsing::_line_count>("_line_count"),
    native<parsing::_patch_path>("_patch_path"),
    native<parsing::_unquote>("_unquote"),
    native<commands::_path_batches>("_path_batches"),
    native<runner::_git_output>("_git_output"),
};

}  // namespace

const std::size_t function_count = std::size(natives);

Face::Face()
    : parts_(Ref::maybe(PyMarshal_ReadObjectFromString(reinterpret_cast<const char*>(frozen_face),
                                                       sizeof(frozen_face)))) {
    if (!parts_) {
        // For want of memory it fails without raising anything.
        if (PyErr_Occurred() == nullptr) {
            PyErr_NoMemory();
        }
        throw PythonError{};
    }
}

PyObject* Face::module_doc() const { return PyTuple_GET_ITEM(parts_.get(), 0); }

Ref Face::class_doc(const char* name) const {
    return Ref::steal(PyObject_GetItem(PyTuple_GET_ITEM(parts_.get(), 1), text(name).get()));
}

PyObject* Face::functions() const { return PyTuple_GET_ITEM(parts_.get(), 2); }

void bind_functions(const Face& face, const Ref& module, std::size_t first, std::size_t last) {
    PyObject* globals = Module::of(module.get()).globals();
    for (std::size_t i = first; i < last; ++i) {
        PyObject* code = PyTuple_GetItem(face.functions(), static_cast<Py_ssize_t>(i));
        const Ref factory = Ref::steal(PyFunction_New(code, globals));
        const Ref body = Ref::steal(PyCFunction_New(&natives[i], module.get()));
        const Ref function = call(factory.get(), body.get());
        check(PyDict_SetItemString(globals, natives[i].ml_name, function.get()));
    }
}

}  // namespace git_utils
