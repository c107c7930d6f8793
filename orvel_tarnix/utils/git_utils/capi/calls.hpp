// Calls into Python objects.
#pragma once

#include <array>
#include <initializer_list>

#include "capi/errors.hpp"
#include "capi/ref.hpp"

namespace git_utils {

// callable(arguments...)
template <class... Arguments>
Ref call(PyObject* callable, Arguments... arguments) {
    // The first place is the one that the vectorcall protocol lets the callee overwrite.
    std::array<PyObject*, sizeof...(arguments) + 1> stack{nullptr, arguments...};
    return Ref::steal(PyObject_Vectorcall(callable, stack.data() + 1,
                                          sizeof...(arguments) | PY_VECTORCALL_ARGUMENTS_OFFSET,
                                          nullptr));
}

// object.method(arguments...)
template <class... Arguments>
Ref call_method(PyObject* object, PyObject* method, Arguments... arguments) {
    std::array<PyObject*, sizeof...(arguments) + 2> stack{nullptr, object, arguments...};
    return Ref::steal(PyObject_VectorcallMethod(
        method, stack.data() + 1, (sizeof...(arguments) + 1) | PY_VECTORCALL_ARGUMENTS_OFFSET,
        nullptr));
}

inline Ref text(const char* utf8) { return Ref::steal(PyUnicode_FromString(utf8)); }

// [items...], borrowing each.
inline Ref list_of(std::initializer_list<PyObject*> items) {
    Ref list = Ref::steal(PyList_New(static_cast<Py_ssize_t>(items.size())));
    Py_ssize_t index = 0;
    for (PyObject* item : items) {
        PyList_SET_ITEM(list.get(), index++, Py_NewRef(item));
    }
    return list;
}

// [*texts], the arguments of a git command.
inline Ref list_of_texts(std::initializer_list<const char*> texts) {
    Ref list = Ref::steal(PyList_New(0));
    for (const char* each : texts) {
        check(PyList_Append(list.get(), text(each).get()));
    }
    return list;
}

// list += [*iterable], with the error of `[*iterable]` for what cannot be iterated over.
void extend(PyObject* list, PyObject* iterable);

// first, second, third = values
std::array<Ref, 3> unpack_three(PyObject* values);

// The next item, or nothing at the end.
inline Ref next(PyObject* iterator) {
    Ref item = Ref::maybe(PyIter_Next(iterator));
    if (!item && PyErr_Occurred() != nullptr) {
        throw PythonError{};
    }
    return item;
}

inline bool is_true(PyObject* object) { return check(PyObject_IsTrue(object)) != 0; }
inline bool is_true(const Ref& object) { return is_true(object.get()); }

// left == right and the like, by the truth of what the comparison answers.
inline bool compare(PyObject* left, PyObject* right, int operation) {
    return is_true(Ref::steal(PyObject_RichCompare(left, right, operation)));
}

inline bool equals(PyObject* left, long right) {
    return compare(left, Ref::steal(PyLong_FromLong(right)).get(), Py_EQ);
}

// format(object, pattern), as an f-string does it.
inline Ref format(PyObject* object, PyObject* pattern = nullptr) {
    return Ref::steal(PyObject_Format(object, pattern));
}

// object[index]
inline Ref item(PyObject* object, long index) {
    return Ref::steal(PyObject_GetItem(object, Ref::steal(PyLong_FromLong(index)).get()));
}

// text[begin:end] of any object; no end is the object's own.
inline constexpr Py_ssize_t to_the_end = PY_SSIZE_T_MAX;
Ref slice(PyObject* object, Py_ssize_t begin, Py_ssize_t end);

// from module import name
Ref import_from(PyObject* module, PyObject* name);

}  // namespace git_utils
