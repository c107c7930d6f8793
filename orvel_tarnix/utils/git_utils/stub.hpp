// Making what the stub `git_utils.pyi` declares.
#pragma once

#include "capi/module.hpp"

namespace git_utils {

// Binds the docstring and then, in the order of the stub, what its import statements, constants,
// classes and functions bind.
void run_stub(const Ref& module);

}  // namespace git_utils
