// Running git.
#pragma once

#include "capi/module.hpp"

namespace git_utils::runner {

Ref run_git_command(const Module& module, PyObject* repo_root, PyObject* args, PyObject* timeout);
Ref _git_output(const Module& module, PyObject* repo_root, PyObject* args);

}  // namespace git_utils::runner
