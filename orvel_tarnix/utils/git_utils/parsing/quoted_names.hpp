// The native way of reading a name from a patch's header line.
#pragma once

#include "capi/module.hpp"
#include "text/scan.hpp"

namespace git_utils::parsing {

// Whether _patch_path() and all that it uses are the module's own.
bool patch_paths_are_own(const Module& module);

// _patch_path(text): a path or None; nothing when it declines.
template <class Unit>
Ref read_patch_path(const Module& module, Units<Unit> text);

}  // namespace git_utils::parsing
