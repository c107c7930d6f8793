// What Python expressions and statements do to objects, one verb each.
//
// C++ does not specify the order in which the arguments of a call are evaluated, but it does
// specify the order of a braced list: left to right. So a verb whose operands can run Python code
// takes them as one list, and evaluates them in the order of the Python expression. Do not write
// such a list after `&&`, `||`, `?` or `:`. If an operand throws there, g++ 12 destroys the
// operands before it after the end of their lifetime.
#pragma once

#include <algorithm>
#include <array>
#include <initializer_list>
#include <span>
#include <string_view>
#include <tuple>

#include "capi/errors.hpp"
#include "capi/ref.hpp"

namespace git_utils {

// Literals.
inline Ref none() { return Ref::borrow(Py_None); }
inline Ref boolean(bool value) { return Ref::borrow(value ? Py_True : Py_False); }
inline Ref integer(long long value) { return Ref::steal(PyLong_FromLongLong(value)); }
inline Ref text(std::string_view utf8) {
    return Ref::steal(
        PyUnicode_FromStringAndSize(utf8.data(), static_cast<Py_ssize_t>(utf8.size())));
}
inline Ref empty_tuple() { return Ref::steal(PyTuple_New(0)); }
inline Ref empty_list() { return Ref::steal(PyList_New(0)); }
inline Ref empty_dict() { return Ref::steal(PyDict_New()); }

// One operand: an object, or a literal that becomes one.
class Operand {
public:
    // Implicit, so that braced lists can mix them. NOLINTBEGIN(google-explicit-constructor)
    Operand(PyObject* object) : object_(object) {}
    Operand(Borrowed object) : object_(object.get()) {}
    Operand(const Ref& object) : object_(object.get()) {}
    Operand(const char* literal) : Operand(std::string_view(literal)) {}
    Operand(std::string_view literal) : literal_(text(literal)), object_(literal_.get()) {}
    Operand(int literal) : literal_(integer(literal)), object_(literal_.get()) {}
    Operand(bool) = delete;  // would become 0 or 1
    // NOLINTEND(google-explicit-constructor)

    [[nodiscard]] PyObject* get() const { return object_; }

private:
    Ref literal_;
    PyObject* object_;
};

template <std::size_t count>
std::array<PyObject*, count> objects_of(const Operand (&operands)[count]) {
    std::array<PyObject*, count> objects;
    std::ranges::transform(operands, objects.begin(), &Operand::get);
    return objects;
}

// call({f, x, y}) is f(x, y).
template <std::size_t count>
Ref call(const Operand (&operands)[count]) {
    std::array<PyObject*, count> objects = objects_of(operands);
    // The vectorcall protocol lets the callee overwrite the slot before the first argument.
    return Ref::steal(PyObject_Vectorcall(objects[0], objects.data() + 1,
                                          (count - 1) | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr));
}
// f(*arguments, **keywords)
inline Ref call_unpacked(Borrowed callable, Borrowed arguments, Borrowed keywords) {
    return Ref::steal(PyObject_Call(callable.get(), arguments.get(), keywords.get()));
}

// (x, y)
template <std::size_t count>
Ref tuple_of(const Operand (&items)[count]) {
    Ref tuple = Ref::steal(PyTuple_New(count));
    for (std::size_t i = 0; i < count; ++i) {
        PyTuple_SET_ITEM(tuple.get(), static_cast<Py_ssize_t>(i), Py_NewRef(items[i].get()));
    }
    return tuple;
}
// [x, y]
Ref list_of(std::initializer_list<Operand> items);

// list.append(item)
inline void append(Borrowed list, Borrowed item) { check(PyList_Append(list.get(), item.get())); }
// list += [*iterable], with the error of `[*iterable]` for an object that is not iterable.
void extend(Borrowed list, Borrowed iterable);
// dict[key] = value
inline void set_item(Borrowed dict, Borrowed key, Borrowed value) {
    check(PyDict_SetItem(dict.get(), key.get(), value.get()));
}
// dict.setdefault(key, value)
Ref set_default(Borrowed dict, Borrowed key, Borrowed value);
// dict.get(key), but nothing instead of None
Ref find_item(Borrowed dict, Borrowed key);

// target, target, ... = values
void unpack_into(std::span<Ref> targets, Borrowed values);
template <std::size_t count>
std::array<Ref, count> unpack(Borrowed values) {
    std::array<Ref, count> targets;
    unpack_into(targets, values);
    return targets;
}

// iter(iterable), and next(iterator) with nothing at the end
inline Ref iterate(Borrowed iterable) { return Ref::steal(PyObject_GetIter(iterable.get())); }
Ref next(Borrowed iterator);

// bool(object), len(object)
inline bool is_true(Borrowed object) { return check(PyObject_IsTrue(object.get())) != 0; }
inline Py_ssize_t length(Borrowed object) { return check(PyObject_Size(object.get())); }

// {left, right}
using Pair = const Operand (&)[2];

// left == right, ...: the object that the comparison gives, or its truth.
inline Ref compare(Pair pair, int operation) {
    return Ref::steal(PyObject_RichCompare(pair[0].get(), pair[1].get(), operation));
}
inline bool is_equal(Pair pair) { return is_true(compare(pair, Py_EQ)); }
inline bool is_unequal(Pair pair) { return is_true(compare(pair, Py_NE)); }
inline bool is_greater(Pair pair) { return is_true(compare(pair, Py_GT)); }
// item in container
inline bool is_in(Pair pair) {
    return check(PySequence_Contains(pair[1].get(), pair[0].get())) != 0;
}

// left + right, left - right, left / right, object[key]
inline Ref binary(PyObject* (*operation)(PyObject*, PyObject*), Pair pair) {
    return Ref::steal(operation(pair[0].get(), pair[1].get()));
}
inline Ref add(Pair pair) { return binary(PyNumber_Add, pair); }
inline Ref subtract(Pair pair) { return binary(PyNumber_Subtract, pair); }
inline Ref divide(Pair pair) { return binary(PyNumber_TrueDivide, pair); }
inline Ref item(Pair pair) { return binary(PyObject_GetItem, pair); }
// object[begin:end]; None stands for a bound that is left out.
Ref slice(Borrowed object, Pair bounds);

// int(object), str(object)
inline Ref as_integer(Borrowed object) { return Ref::steal(PyNumber_Long(object.get())); }
inline Ref as_str(Borrowed object) { return Ref::steal(PyObject_Str(object.get())); }
// f"{object:{pattern}}"
inline Ref format(Borrowed object, Borrowed pattern = nullptr) {
    return Ref::steal(PyObject_Format(object.get(), pattern.get()));
}
// The text of one part of a joined string: the characters of a str, even if its class formats them
// differently, as a str enumeration does; f"{object}" of any other object.
Ref characters_of(Borrowed object);
// An f-string in the notation of PyUnicode_FromFormat: %U takes a str, %S str(), %R repr().
template <std::size_t count>
Ref format_text(const char* format, const Operand (&parts)[count]) {
    return std::apply(
        [&](auto... objects) { return Ref::steal(PyUnicode_FromFormat(format, objects...)); },
        objects_of(parts));
}

}  // namespace git_utils
