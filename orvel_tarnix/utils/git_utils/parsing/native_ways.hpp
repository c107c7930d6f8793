// The native ways through the parsers (natively.hpp says what such a way is). Each bears the name
// of what it reads; it answers with nothing where it declines, and the Python name then goes the
// general way.
#pragma once

#include "capi/module.hpp"
#include "parsing/native/scan.hpp"

namespace git_utils::parsing {

// parse_file_changes(output), _line_count(field)
Ref file_changes_natively(const Module& module, Borrowed output);
Ref line_count_natively(const Module& module, Borrowed field);

// parse_commit_changes(output)
Ref commit_changes_natively(const Module& module, Borrowed output);

// parse_line_spans(patch)
Ref line_spans_natively(const Module& module, Borrowed patch);

// _patch_path(text) of a name without quotes, _unquote(text)
Ref plain_path_natively(const Module& module, Borrowed text);
Ref unquoted_natively(const Module& module, Borrowed text);

// _patch_path(text) of any name, for a reader that has asked whether _patch_path is unmodified.
template <class Unit>
Ref patch_path_natively(const Module& module, Units<Unit> text);

}  // namespace git_utils::parsing
