// The characters of a str where it stores them.
#pragma once

#include <span>

#include "capi/ref.hpp"

namespace git_utils {

// Calls `visit` with the str's characters as a span of one-, two- or four-byte units.
template <class Visit>
decltype(auto) with_text(PyObject* str, Visit visit) {
    const auto size = static_cast<std::size_t>(PyUnicode_GET_LENGTH(str));
    switch (PyUnicode_KIND(str)) {
        case PyUnicode_1BYTE_KIND:
            return visit(std::span<const Py_UCS1>(PyUnicode_1BYTE_DATA(str), size));
        case PyUnicode_2BYTE_KIND:
            return visit(std::span<const Py_UCS2>(PyUnicode_2BYTE_DATA(str), size));
        default:
            return visit(std::span<const Py_UCS4>(PyUnicode_4BYTE_DATA(str), size));
    }
}

// The str of those characters, in the narrowest storage that holds them.
inline Ref to_str(std::span<const Py_UCS1> units) {
    return Ref::steal(PyUnicode_FromKindAndData(PyUnicode_1BYTE_KIND, units.data(),
                                                static_cast<Py_ssize_t>(units.size())));
}
inline Ref to_str(std::span<const Py_UCS2> units) {
    return Ref::steal(PyUnicode_FromKindAndData(PyUnicode_2BYTE_KIND, units.data(),
                                                static_cast<Py_ssize_t>(units.size())));
}
inline Ref to_str(std::span<const Py_UCS4> units) {
    return Ref::steal(PyUnicode_FromKindAndData(PyUnicode_4BYTE_KIND, units.data(),
                                                static_cast<Py_ssize_t>(units.size())));
}

}  // namespace git_utils
