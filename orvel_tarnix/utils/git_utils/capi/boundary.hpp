// The one way from Python into the C++ code.
#pragma once

#include <cassert>
#include <exception>
#include <new>
#include <utility>

#include "capi/errors.hpp"
#include "capi/module_state.hpp"

namespace git_utils {

// Calls `callback` and turns C++ exceptions into Python's. Not a catch-all: at interpreter shutdown
// a daemon thread is unwound through here by force.
template <class Callback>
PyObject* guarded(Callback callback) {
    try {
        PyObject* result = callback().release();
        assert((result == nullptr) == (PyErr_Occurred() != nullptr));
        return result;
    } catch (const PythonError&) {
        assert(PyErr_Occurred() != nullptr);
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_SystemError, error.what());
    }
    return nullptr;
}

// The number of parameters of a body, without the module.
template <class... Arguments>
constexpr std::size_t arity_of(Ref (*)(const ModuleState&, Arguments...)) {
    return sizeof...(Arguments);
}

// `body(module, argument, ...)` as the interpreter calls it. The Python function has bound the
// arguments, so their number is right, unless a caller takes the body out of the function's
// closure.
template <auto body>
PyObject* enter(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
    constexpr std::size_t arity = arity_of(body);
    if (std::cmp_not_equal(count, arity)) {
        PyErr_Format(PyExc_TypeError, "expected %zu arguments, got %zd", arity, count);
        return nullptr;
    }
    return guarded([&] {
        return [&]<std::size_t... index>(std::index_sequence<index...>) {
            return body(ModuleState::of(self), arguments[index]...);
        }(std::make_index_sequence<arity>());
    });
}

}  // namespace git_utils
