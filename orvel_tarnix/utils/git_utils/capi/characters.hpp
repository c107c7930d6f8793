// The characters of a str, where it stores them.
#pragma once

#include <span>
#include <utility>

#include "capi/ref.hpp"

namespace git_utils {

// Calls `read` with the str's characters as a span of one-, two- or four-byte units.
template <class Read>
decltype(auto) read_characters(Borrowed str, Read read) {
    PyObject* object = str.get();
    const auto size = static_cast<std::size_t>(PyUnicode_GET_LENGTH(object));
    switch (PyUnicode_KIND(object)) {
        case PyUnicode_1BYTE_KIND:
            return read(std::span<const Py_UCS1>(PyUnicode_1BYTE_DATA(object), size));
        case PyUnicode_2BYTE_KIND:
            return read(std::span<const Py_UCS2>(PyUnicode_2BYTE_DATA(object), size));
        default:
            return read(std::span<const Py_UCS4>(PyUnicode_4BYTE_DATA(object), size));
    }
}

// The same for an object of any type: returns nothing unless it is exactly a str. A subclass can
// override the methods whose work `read` does.
template <class Read>
auto read_exact_str(Borrowed object, Read read) {
    return PyUnicode_CheckExact(object.get()) ? read_characters(object, read)
                                              : decltype(read(std::span<const Py_UCS1>())){};
}

// The str of those characters, in the narrowest storage that holds them.
template <class Unit>
Ref to_str(std::span<const Unit> units) {
    // The API numbers the three kinds by the bytes of a unit.
    return Ref::steal(PyUnicode_FromKindAndData(sizeof(Unit), units.data(),
                                                static_cast<Py_ssize_t>(units.size())));
}

}  // namespace git_utils
