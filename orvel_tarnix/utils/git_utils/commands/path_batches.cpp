#include "commands/commands.hpp"

namespace git_utils::commands {
namespace {

// The batches of a plain list or tuple of plain texts; nothing when it declines.
Ref batch_texts(PyObject* paths, PyObject* limit) {
    int overflow = 0;
    const long long most = PyLong_AsLongLongAndOverflow(limit, &overflow);
    if (overflow != 0) {
        return {};
    }
    Ref batches = Ref::steal(PyList_New(0));
    Ref batch = Ref::steal(PyList_New(0));
    check(PyList_Append(batches.get(), batch.get()));
    long long length = 0;
    const Ref iterator = Ref::steal(PyObject_GetIter(paths));
    while (const Ref path = next(iterator.get())) {
        if (!PyUnicode_CheckExact(path.get())) {
            return {};
        }
        const long long taken = PyUnicode_GET_LENGTH(path.get()) + 1;
        if (PyList_GET_SIZE(batch.get()) > 0 && length + taken > most) {
            batch = Ref::steal(PyList_New(0));
            check(PyList_Append(batches.get(), batch.get()));
            length = 0;
        }
        check(PyList_Append(batch.get(), path.get()));
        length += taken;
    }
    return batches;
}

// length + len(path) + 1
Ref longer_by(const Ref& length, PyObject* path) {
    const Ref taken = Ref::steal(PyLong_FromSsize_t(check(PyObject_Size(path))));
    const Ref sum = Ref::steal(PyNumber_Add(length.get(), taken.get()));
    return Ref::steal(PyNumber_Add(sum.get(), Ref::steal(PyLong_FromLong(1)).get()));
}

}  // namespace

Ref _path_batches(const Module& module, PyObject* paths) {
    if (PyList_CheckExact(paths) || PyTuple_CheckExact(paths)) {
        const Ref limit = module.find("_MAX_PATHSPEC_CHARS"_name);
        if (limit && PyLong_CheckExact(limit.get())) {
            if (Ref batches = batch_texts(paths, limit.get())) {
                return batches;
            }
        }
    }
    Ref batches = Ref::steal(PyList_New(0));
    Ref batch = Ref::steal(PyList_New(0));
    check(PyList_Append(batches.get(), batch.get()));
    Ref length = Ref::steal(PyLong_FromLong(0));
    const Ref iterator = Ref::steal(PyObject_GetIter(paths));
    while (const Ref path = next(iterator.get())) {
        if (PyList_GET_SIZE(batch.get()) > 0 &&
            compare(longer_by(length, path.get()).get(), module["_MAX_PATHSPEC_CHARS"_name].get(),
                    Py_GT)) {
            batch = Ref::steal(PyList_New(0));
            check(PyList_Append(batches.get(), batch.get()));
            length = Ref::steal(PyLong_FromLong(0));
        }
        check(PyList_Append(batch.get(), path.get()));
        length = longer_by(length, path.get());
    }
    return batches;
}

}  // namespace git_utils::commands
