// The characters of a str where it stores them.
#pragma once

#include <span>

#include "capi/ref.hpp"

namespace git_utils {

// Calls `visit` with the str's characters as a span of one-, two- or four-byte units.
template <class Visit>
decltype(auto) with_text(Borrowed str, Visit visit) {
    PyObject* object = str.get();
    const auto size = static_cast<std::size_t>(PyUnicode_GET_LENGTH(object));
    switch (PyUnicode_KIND(object)) {
        case PyUnicode_1BYTE_KIND:
            return visit(std::span<const Py_UCS1>(PyUnicode_1BYTE_DATA(object), size));
        case PyUnicode_2BYTE_KIND:
            return visit(std::span<const Py_UCS2>(PyUnicode_2BYTE_DATA(object), size));
        default:
            return visit(std::span<const Py_UCS4>(PyUnicode_4BYTE_DATA(object), size));
    }
}

// The str of those characters, in the narrowest storage that holds them.
template <class Unit>
Ref to_str(std::span<const Unit> units) {
    // The API numbers the three kinds by the bytes of a unit.
    return Ref::steal(PyUnicode_FromKindAndData(sizeof(Unit), units.data(),
                                                static_cast<Py_ssize_t>(units.size())));
}

// The part of a str that those characters are: the str itself where it is the whole, as with
// Python's own methods.
template <class Unit>
Ref part_of(Borrowed str, std::span<const Unit> units) {
    const bool is_whole = std::cmp_equal(units.size(), PyUnicode_GET_LENGTH(str.get()));
    return is_whole ? Ref::borrow(str.get()) : to_str(units);
}

}  // namespace git_utils
