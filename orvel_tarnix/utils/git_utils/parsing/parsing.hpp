// The pure parsers of git's diff, log and patch output.
//
// Each parser has two ways. The native way reads what git really prints, straight from the text's
// characters, and runs no foreign code; it declines (answers with nothing) whatever else it meets:
// an object that is no plain str, a rebound name, a number past 18 digits, a digit that is not
// ASCII. The general way then does from the start what the Python statements would do. Since a
// native attempt leaves no trace, nobody can tell which way was taken.
#pragma once

#include "capi/module.hpp"

namespace git_utils::parsing {

// file_changes.cpp
Ref parse_file_changes(const Module& module, PyObject* output);
Ref _file_changes(const Module& module, PyObject* tokens);
Ref _line_count(const Module& module, PyObject* field);

// commit_changes.cpp
Ref parse_commit_changes(const Module& module, PyObject* output);

// line_spans.cpp
Ref parse_line_spans(const Module& module, PyObject* patch);
Ref _span(const Module& module, PyObject* start, PyObject* new_count, PyObject* old_count);

// quoted_names.cpp
Ref _patch_path(const Module& module, PyObject* text);
Ref _unquote(const Module& module, PyObject* text);

}  // namespace git_utils::parsing
