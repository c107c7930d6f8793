// Time specs and the authors of a period.
#pragma once

#include "capi/module.hpp"

namespace git_utils::timespec {

Ref parse_time_spec(const Module& module, PyObject* since);
Ref get_authors_for_period(const Module& module, PyObject* repo_root, PyObject* since);

}  // namespace git_utils::timespec
