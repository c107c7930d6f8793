// The functions of the namespace.
#pragma once

#include "capi/module.hpp"

namespace git_utils {

// What the build froze of the stub `git_utils.pyi`: the docstrings and, in binding order, the code
// of each function.
class Face {
public:
    Face();

    [[nodiscard]] PyObject* module_doc() const;
    // The docstring of a class.
    [[nodiscard]] Ref class_doc(const char* name) const;
    // The codes of the functions.
    [[nodiscard]] PyObject* functions() const;

private:
    Ref parts_;
};

// Makes and binds the functions from the one at `first` to the one before `last`. Each is a Python
// function that hands its arguments to the native body in its one cell:
//     def find_git_root(start: Path | None = None) -> Path | None:
//         return native(start)
// so that defaults and annotations are evaluated here, and binding errors, signatures and the
// function's name in log records are the interpreter's own work.
void bind_functions(const Face& face, const Ref& module, std::size_t first, std::size_t last);

extern const std::size_t function_count;

}  // namespace git_utils
