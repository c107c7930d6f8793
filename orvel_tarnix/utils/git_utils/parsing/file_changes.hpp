// The native way of reading file changes, shared by the diff and the log stream.
#pragma once

#include "capi/module.hpp"
#include "parsing/change_scanner.hpp"
#include "parsing/records.hpp"

namespace git_utils::parsing {

// Whether nothing that reading file changes uses has been rebound or replaced.
bool file_changes_are_own(const Module& module);

using FileChangeFiller = RecordFiller<file_change_fields.size()>;

// (FileChange(...), ...) of the files that the scanner finds; nothing when it declines.
template <class Unit>
Ref read_file_changes(const Module& module, FileChangeFiller& fill_file_change,
                      ChangeScanner<Unit>& scanner);

}  // namespace git_utils::parsing
