// Starting the git program.
#pragma once

#include "capi/module.hpp"

namespace git_utils::runner {

// subprocess.run(["git"] + args, ...) in the repository root, with the host's extra keywords.
Ref launch(const Module& module, Borrowed repo_root, Borrowed args, Borrowed timeout);

}  // namespace git_utils::runner
