// The constants and classes of the namespace.
#pragma once

#include "functions.hpp"

namespace git_utils {

void bind_constants(const Module& module);
void bind_exception(const Module& module, const Face& face);
void bind_records(const Module& module, const Face& face);

}  // namespace git_utils
