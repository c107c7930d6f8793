#include "capi/ref.hpp"

#include <new>
#include <vector>

namespace git_utils {
namespace {

// Empty but for the time that an exception takes from where it is thrown to where it is caught.
thread_local std::vector<PyObject*> postponed;

}  // namespace

void postpone(PyObject* object) {
    try {
        postponed.push_back(object);
    } catch (const std::bad_alloc&) {
        return;  // better lost than destroyed now
    }
}

void destroy_postponed() {
    for (PyObject* object : std::exchange(postponed, {})) {
        Py_DECREF(object);
    }
}

}  // namespace git_utils
