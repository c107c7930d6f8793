// What Python statements do to objects: one verb each.
//
// C++ leaves it open in which order the arguments of one call are evaluated. So at most one of
// them may be an expression that can run Python code; the others are evaluated ahead of it.
#pragma once

#include <array>
#include <concepts>
#include <initializer_list>
#include <span>
#include <string_view>

#include "capi/errors.hpp"
#include "capi/ref.hpp"

namespace git_utils {

template <class Argument>
concept Object = std::convertible_to<const Argument&, Borrowed>;

// callable(arguments...)
template <Object... Arguments>
Ref call(Borrowed callable, const Arguments&... arguments) {
    // The first place is the one that the vectorcall protocol lets the callee overwrite.
    std::array<PyObject*, sizeof...(arguments) + 1> stack{nullptr, Borrowed(arguments).get()...};
    return Ref::steal(PyObject_Vectorcall(callable.get(), stack.data() + 1,
                                          sizeof...(arguments) | PY_VECTORCALL_ARGUMENTS_OFFSET,
                                          nullptr));
}

// callable(*arguments, **keywords)
inline Ref call_with(Borrowed callable, Borrowed arguments, Borrowed keywords) {
    return Ref::steal(PyObject_Call(callable.get(), arguments.get(), keywords.get()));
}

// object.method(arguments...)
template <Object... Arguments>
Ref call_method(Borrowed object, Borrowed method, const Arguments&... arguments) {
    std::array<PyObject*, sizeof...(arguments) + 2> stack{nullptr, object.get(),
                                                          Borrowed(arguments).get()...};
    return Ref::steal(PyObject_VectorcallMethod(
        method.get(), stack.data() + 1, (sizeof...(arguments) + 1) | PY_VECTORCALL_ARGUMENTS_OFFSET,
        nullptr));
}

// Literals.
inline Ref none() { return Ref::borrow(Py_None); }
inline Ref boolean(bool value) { return Ref::borrow(value ? Py_True : Py_False); }
inline Ref integer(long long value) { return Ref::steal(PyLong_FromLongLong(value)); }
inline Ref text(std::string_view utf8) {
    return Ref::steal(
        PyUnicode_FromStringAndSize(utf8.data(), static_cast<Py_ssize_t>(utf8.size())));
}

// (items...)
template <Object... Items>
Ref tuple_of(const Items&... items) {
    return Ref::steal(PyTuple_Pack(sizeof...(items), Borrowed(items).get()...));
}

// The arguments of a git command: [texts...]
Ref list_of(std::initializer_list<std::string_view> texts);
inline Ref empty_list() { return Ref::steal(PyList_New(0)); }
inline Ref empty_dict() { return Ref::steal(PyDict_New()); }

// list.append(item)
inline void append(Borrowed list, Borrowed item) { check(PyList_Append(list.get(), item.get())); }
// list += [*iterable], with the error of `[*iterable]` for what cannot be iterated over.
void extend(Borrowed list, Borrowed iterable);
// dict[key] = value
inline void set_item(Borrowed dict, Borrowed key, Borrowed value) {
    check(PyDict_SetItem(dict.get(), key.get(), value.get()));
}
// dict.setdefault(key, value)
Ref set_default(Borrowed dict, Borrowed key, Borrowed value);
// What a dict of ours or an unmodified one has under the key, or nothing.
Ref find_item(Borrowed dict, Borrowed key);

// target, target, ... = values
void unpack_into(std::span<Ref> targets, Borrowed values);
template <std::size_t count>
std::array<Ref, count> unpack(Borrowed values) {
    std::array<Ref, count> targets;
    unpack_into(targets, values);
    return targets;
}

// iter(iterable), and its next item or nothing at the end.
inline Ref iterate(Borrowed iterable) { return Ref::steal(PyObject_GetIter(iterable.get())); }
Ref next(Borrowed iterator);

// bool(object)
inline bool is_true(Borrowed object) { return check(PyObject_IsTrue(object.get())) != 0; }
// item in container
inline bool contains(Borrowed container, Borrowed item) {
    return check(PySequence_Contains(container.get(), item.get())) != 0;
}
// len(object)
inline Py_ssize_t length(Borrowed object) { return check(PyObject_Size(object.get())); }

// left == right and the like, by the truth of what the comparison answers.
bool compare(Borrowed left, Borrowed right, int operation);
inline bool equals(Borrowed left, long long right) { return compare(left, integer(right), Py_EQ); }
inline bool differs(Borrowed left, long long right) { return compare(left, integer(right), Py_NE); }

// left + right, left - right, left / right
inline Ref add(Borrowed left, Borrowed right) {
    return Ref::steal(PyNumber_Add(left.get(), right.get()));
}
inline Ref subtract(Borrowed left, Borrowed right) {
    return Ref::steal(PyNumber_Subtract(left.get(), right.get()));
}
inline Ref divide(Borrowed left, Borrowed right) {
    return Ref::steal(PyNumber_TrueDivide(left.get(), right.get()));
}

// int(object), str(object)
inline Ref as_integer(Borrowed object) { return Ref::steal(PyNumber_Long(object.get())); }
inline Ref as_str(Borrowed object) { return Ref::steal(PyObject_Str(object.get())); }
// f"{object:{pattern}}"
inline Ref format(Borrowed object, Borrowed pattern = nullptr) {
    return Ref::steal(PyObject_Format(object.get(), pattern.get()));
}
// A part of a text that is put together: of a str its characters, even if its class would format
// it otherwise, as a str enumeration does; of any other object what f"{object}" gives.
Ref characters_of(Borrowed object);
// A text with objects in it, in the notation of PyUnicode_FromFormat: %U takes a str, %S what str()
// gives, %R what repr() gives.
template <Object... Parts>
Ref composed(const char* format, const Parts&... parts) {
    return Ref::steal(PyUnicode_FromFormat(format, Borrowed(parts).get()...));
}

// object[index], object[key]
inline Ref item(Borrowed object, Borrowed key) {
    return Ref::steal(PyObject_GetItem(object.get(), key.get()));
}
inline Ref item(Borrowed object, int index) { return item(object, integer(index)); }
// object[begin:end]; null stands for a bound that is left out.
Ref slice(Borrowed object, Borrowed begin, Borrowed end);
inline Ref slice_from(Borrowed object, Py_ssize_t begin) {
    return slice(object, integer(begin), nullptr);
}

}  // namespace git_utils
