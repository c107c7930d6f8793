// Executing the stub `git_utils.pyi`.
#pragma once

#include "capi/module.hpp"

namespace git_utils {

// Binds the docstring, then the names of the stub's imports, constants, classes and functions, in
// the order of the stub.
void run_stub(const Ref& module);

}  // namespace git_utils
