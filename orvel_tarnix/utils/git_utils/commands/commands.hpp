// The diff and log commands.
#pragma once

#include "capi/module.hpp"

namespace git_utils::commands {

// diff_and_log.cpp
Ref diff_file_changes(const Module& module, PyObject* repo_root, PyObject* base, PyObject* head);
Ref log_commit_changes(const Module& module, PyObject* repo_root, PyObject* since, PyObject* ref,
                       PyObject* max_commits);
Ref diff_line_spans(const Module& module, PyObject* repo_root, PyObject* base, PyObject* head,
                    PyObject* merge_base, PyObject* paths, PyObject* diff_filter);

// path_batches.cpp
Ref _path_batches(const Module& module, PyObject* paths);

}  // namespace git_utils::commands
