#include "capi/module_state.hpp"

namespace git_utils {
namespace {

Ref interned_names() {
    const Ref names = empty_list();
    for (const std::string_view spelling : name_spellings) {
        // A literal, so it ends with a NUL.
        append(names, Ref::steal(PyUnicode_InternFromString(spelling.data())));
    }
    return Ref::steal(PyList_AsTuple(names.get()));
}

}  // namespace

Ref ModuleState::create(PyObject* module) {
    static PyType_Slot slots[] = {
        {Py_tp_traverse, reinterpret_cast<void*>(traverse)},
        {Py_tp_clear, reinterpret_cast<void*>(clear)},
        {Py_tp_dealloc, reinterpret_cast<void*>(dealloc)},
        {0, nullptr},
    };
    static PyType_Spec spec = {
        .name = "git_utils.ModuleState",
        .basicsize = sizeof(ModuleState),
        .itemsize = 0,
        .flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_DISALLOW_INSTANTIATION |
                 Py_TPFLAGS_IMMUTABLETYPE,
        .slots = slots,
    };
    const Ref type = Ref::steal(PyType_FromSpec(&spec));
    auto* heap_type = reinterpret_cast<PyTypeObject*>(type.get());
    Ref self = Ref::steal(heap_type->tp_alloc(heap_type, 0));
    auto& created = *reinterpret_cast<ModuleState*>(self.get());
    created.globals_ = Py_NewRef(PyModule_GetDict(module));
    created.names_ = interned_names().release();
    return self;
}

int ModuleState::traverse(PyObject* self, visitproc visit, void* arg) {
    const ModuleState& module = of(self);
    Py_VISIT(Py_TYPE(self));
    Py_VISIT(module.globals_);
    for (PyObject* each : module.snapshots_) {
        Py_VISIT(each);
    }
    return 0;
}

// Keeps the globals and names, since a finaliser may still call our functions. The collector also
// clears the dict of the globals, which breaks the cycle.
int ModuleState::clear(PyObject* self) {
    auto& module = *reinterpret_cast<ModuleState*>(self);
    for (PyObject*& each : module.snapshots_) {
        Py_CLEAR(each);
    }
    return 0;
}

void ModuleState::dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    clear(self);
    auto& module = *reinterpret_cast<ModuleState*>(self);
    Py_CLEAR(module.globals_);
    Py_CLEAR(module.names_);
    PyTypeObject* type = Py_TYPE(self);
    type->tp_free(self);
    Py_DECREF(type);
}

Ref ModuleState::find(Name wanted) const {
    PyObject* found = nullptr;
    if (check(PyDict_GetItemRef(globals_, name(wanted), &found)) == 0) {
        PyObject* builtins = PyEval_GetBuiltins();
        check(PyMapping_GetOptionalItem(builtins, name(wanted), &found));
    }
    return Ref::maybe(found);
}

Ref ModuleState::operator[](Name wanted) const {
    if (Ref found = find(wanted)) {
        return found;
    }
    PyErr_Format(PyExc_NameError, "name '%.200U' is not defined", name(wanted));
    Ref error = Ref::steal(PyErr_GetRaisedException());
    check(PyObject_SetAttr(error.get(), name("name"_name), name(wanted)));
    PyErr_SetRaisedException(error.release());
    throw PythonError{};
}

}  // namespace git_utils
