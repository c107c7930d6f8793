#include "capi/verbs.hpp"

namespace git_utils {

Ref list_of(std::initializer_list<Operand> items) {
    Ref list = empty_list();
    for (const Operand& each : items) {
        append(list, each.get());
    }
    return list;
}

void extend(Borrowed list, Borrowed iterable) {
    if (PyList_Extend(list.get(), iterable.get()) < 0) {
        const PyTypeObject* type = Py_TYPE(iterable.get());
        if (PyErr_ExceptionMatches(PyExc_TypeError) && type->tp_iter == nullptr &&
            !PySequence_Check(iterable.get())) {
            PyErr_Clear();
            raise(PyExc_TypeError, "Value after * must be an iterable, not %.200s", type->tp_name);
        }
        throw PythonError{};
    }
}

Ref set_default(Borrowed dict, Borrowed key, Borrowed value) {
    PyObject* found = nullptr;
    check(PyDict_SetDefaultRef(dict.get(), key.get(), value.get(), &found));
    return Ref::steal(found);
}

Ref find_item(Borrowed dict, Borrowed key) {
    PyObject* found = nullptr;
    check(PyDict_GetItemRef(dict.get(), key.get(), &found));
    return Ref::maybe(found);
}

void unpack_into(std::span<Ref> targets, Borrowed values) {
    const PyTypeObject* type = Py_TYPE(values.get());
    if (type->tp_iter == nullptr && !PySequence_Check(values.get())) {
        raise(PyExc_TypeError, "cannot unpack non-iterable %.200s object", type->tp_name);
    }
    const Ref iterator = iterate(values);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        targets[i] = next(iterator);
        if (!targets[i]) {
            raise(PyExc_ValueError, "not enough values to unpack (expected %zu, got %zu)",
                  targets.size(), i);
        }
    }
    if (next(iterator)) {
        raise(PyExc_ValueError, "too many values to unpack (expected %zu)", targets.size());
    }
}

Ref next(Borrowed iterator) {
    Ref item = Ref::maybe(PyIter_Next(iterator.get()));
    if (!item && PyErr_Occurred() != nullptr) {
        throw PythonError{};
    }
    return item;
}

Ref slice(Borrowed object, Pair bounds) {
    return item({object, Ref::steal(PySlice_New(bounds[0].get(), bounds[1].get(), nullptr))});
}

Ref characters_of(Borrowed object) {
    return PyUnicode_Check(object.get()) ? Ref::steal(PyUnicode_FromObject(object.get()))
                                         : format(object);
}

}  // namespace git_utils
