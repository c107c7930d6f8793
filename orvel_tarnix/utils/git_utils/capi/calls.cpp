#include "capi/calls.hpp"

namespace git_utils {

void extend(PyObject* list, PyObject* iterable) {
    if (PyList_Extend(list, iterable) < 0) {
        if (PyErr_ExceptionMatches(PyExc_TypeError) && Py_TYPE(iterable)->tp_iter == nullptr &&
            !PySequence_Check(iterable)) {
            PyErr_Clear();
            raise(PyExc_TypeError, "Value after * must be an iterable, not %.200s",
                  Py_TYPE(iterable)->tp_name);
        }
        throw PythonError{};
    }
}

std::array<Ref, 3> unpack_three(PyObject* values) {
    if (Py_TYPE(values)->tp_iter == nullptr && !PySequence_Check(values)) {
        raise(PyExc_TypeError, "cannot unpack non-iterable %.200s object",
              Py_TYPE(values)->tp_name);
    }
    std::array<Ref, 3> unpacked;
    const Ref iterator = Ref::steal(PyObject_GetIter(values));
    for (std::size_t i = 0; i < unpacked.size(); ++i) {
        unpacked[i] = next(iterator.get());
        if (!unpacked[i]) {
            raise(PyExc_ValueError, "not enough values to unpack (expected 3, got %zu)", i);
        }
    }
    if (next(iterator.get())) {
        raise(PyExc_ValueError, "too many values to unpack (expected 3)");
    }
    return unpacked;
}

Ref slice(PyObject* object, Py_ssize_t begin, Py_ssize_t end) {
    const Ref first = Ref::steal(PyLong_FromSsize_t(begin));
    const Ref last = end == to_the_end ? Ref() : Ref::steal(PyLong_FromSsize_t(end));
    const Ref range = Ref::steal(PySlice_New(first.get(), last.get(), nullptr));
    return Ref::steal(PyObject_GetItem(object, range.get()));
}

Ref import_from(PyObject* module, PyObject* name) {
    PyObject* found = nullptr;
    if (check(PyObject_GetOptionalAttr(module, name, &found)) != 0) {
        return Ref::steal(found);
    }
    const Ref module_name = Ref::steal(PyModule_GetNameObject(module));
    // A submodule that is itself still being imported is not yet an attribute of its package.
    const Ref full_name = Ref::steal(PyUnicode_FromFormat("%U.%U", module_name.get(), name));
    if (Ref submodule = Ref::maybe(PyImport_GetModule(full_name.get()))) {
        return submodule;
    }
    PyErr_Clear();
    Ref origin = Ref::maybe(PyModule_GetFilenameObject(module));
    PyErr_Clear();
    const Ref message =
        Ref::steal(origin ? PyUnicode_FromFormat("cannot import name %R from %R (%U)", name,
                                                 module_name.get(), origin.get())
                          : PyUnicode_FromFormat("cannot import name %R from %R (unknown location)",
                                                 name, module_name.get()));
    if (!origin) {
        origin = Ref::borrow(Py_None);
    }
    const Ref arguments = Ref::steal(PyTuple_Pack(1, message.get()));
    const Ref keywords = Ref::steal(Py_BuildValue("{s:O,s:O,s:O}", "name", module_name.get(),
                                                  "path", origin.get(), "name_from", name));
    raise(Ref::steal(PyObject_Call(PyExc_ImportError, arguments.get(), keywords.get())));
}

}  // namespace git_utils
