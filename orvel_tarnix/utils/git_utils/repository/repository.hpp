// Repository roots, branch names, wiki directories and revisions.
#pragma once

#include "capi/module.hpp"

namespace git_utils::repository {

// roots.cpp
Ref find_git_root(const Module& module, PyObject* start);
Ref find_repo_root(const Module& module);

// branches.cpp
Ref resolve_display_branch(const Module& module, PyObject* repo_root);
Ref normalize_branch_name(const Module& module, PyObject* name);
Ref sanitize_branch_name(const Module& module, PyObject* branch);
Ref wiki_root(const Module& module, PyObject* repo_root);
Ref wiki_directory(const Module& module, PyObject* repo_root, PyObject* branch);

// revisions.cpp
Ref get_head_commit(const Module& module, PyObject* repo_root, PyObject* is_short);
Ref get_default_branch(const Module& module, PyObject* repo_root);
Ref branch_exists(const Module& module, PyObject* repo_root, PyObject* branch);
Ref resolve_commit(const Module& module, PyObject* repo_root, PyObject* name);
Ref count_commits(const Module& module, PyObject* repo_root, PyObject* base, PyObject* head);
Ref commit_before(const Module& module, PyObject* repo_root, PyObject* ref, PyObject* moment);

}  // namespace git_utils::repository
