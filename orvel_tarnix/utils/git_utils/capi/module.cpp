#include "capi/module.hpp"

#include "capi/errors.hpp"

namespace git_utils {
namespace {

// Whether calling the class makes an instance as object.__new__ does, for its constructor to fill.
bool makes_plain_instances(const PyTypeObject* type) {
    return type->tp_new == PyBaseObject_Type.tp_new &&
           (type->tp_flags & Py_TPFLAGS_IS_ABSTRACT) == 0;
}

template <class Visit>
void visit_function(PyObject* bound, Visit visit) {
    visit(bound);
    if (PyFunction_Check(bound)) {
        visit(PyFunction_GET_CODE(bound));
        PyObject* closure = PyFunction_GET_CLOSURE(bound);
        for (Py_ssize_t i = 0; closure != nullptr && i < PyTuple_GET_SIZE(closure); ++i) {
            visit(PyCell_GET(PyTuple_GET_ITEM(closure, i)));
        }
    }
}

// Calls `visit` with each object that decides what `bound` does when it is called: a function's
// code and what its cells hold, a class's constructor. Anything else is its own only part; so is
// a class that somebody made a constructor, perhaps of itself.
template <class Visit>
void visit_parts(PyObject* bound, PyObject* init, Visit visit) {
    visit_function(bound, visit);
    if (PyType_Check(bound)) {
        auto* type = reinterpret_cast<PyTypeObject*>(bound);
        visit(reinterpret_cast<PyObject*>(Py_TYPE(bound)));
        visit(makes_plain_instances(type) ? Py_True : Py_False);
        const Ref members = Ref::steal(PyType_GetDict(type));
        PyObject* constructor = PyDict_GetItemWithError(members.get(), init);
        visit_function(constructor == nullptr ? Py_None : constructor, visit);
    }
}

}  // namespace

Ref Module::create(PyObject* module) {
    static PyType_Slot slots[] = {
        {Py_tp_traverse, reinterpret_cast<void*>(traverse)},
        {Py_tp_clear, reinterpret_cast<void*>(clear)},
        {Py_tp_dealloc, reinterpret_cast<void*>(dealloc)},
        {0, nullptr},
    };
    static PyType_Spec spec = {
        .name = "git_utils.Module",
        .basicsize = sizeof(Module),
        .itemsize = 0,
        .flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_DISALLOW_INSTANTIATION |
                 Py_TPFLAGS_IMMUTABLETYPE,
        .slots = slots,
    };
    const Ref type = Ref::steal(PyType_FromSpec(&spec));
    auto* heap_type = reinterpret_cast<PyTypeObject*>(type.get());
    Ref self = Ref::steal(heap_type->tp_alloc(heap_type, 0));
    auto& created = *reinterpret_cast<Module*>(self.get());
    created.globals_ = Py_NewRef(PyModule_GetDict(module));
    for (std::size_t i = 0; i < name_spellings.size(); ++i) {
        // The spellings come from literals, so each ends with a NUL.
        created.names_[i] =
            Ref::steal(PyUnicode_InternFromString(name_spellings[i].data())).release();
    }
    return self;
}

int Module::traverse(PyObject* self, visitproc visit, void* arg) {
    const Module& module = of(self);
    Py_VISIT(Py_TYPE(self));
    Py_VISIT(module.globals_);
    for (PyObject* parts : module.own_) {
        Py_VISIT(parts);
    }
    return 0;
}

int Module::clear(PyObject* self) {
    auto& module = *reinterpret_cast<Module*>(self);
    for (PyObject*& parts : module.own_) {
        Py_CLEAR(parts);
    }
    return 0;
}

void Module::dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    clear(self);
    auto& module = *reinterpret_cast<Module*>(self);
    Py_CLEAR(module.globals_);
    for (PyObject*& name : module.names_) {
        Py_CLEAR(name);
    }
    PyTypeObject* type = Py_TYPE(self);
    type->tp_free(self);
    Py_DECREF(type);
}

Ref Module::find(Name wanted) const {
    PyObject* found = nullptr;
    if (check(PyDict_GetItemRef(globals_, name(wanted), &found)) == 0) {
        PyObject* builtins = PyEval_GetBuiltins();
        check(PyMapping_GetOptionalItem(builtins, name(wanted), &found));
    }
    return Ref::maybe(found);
}

Ref Module::operator[](Name wanted) const {
    if (Ref found = find(wanted)) {
        return found;
    }
    PyErr_Format(PyExc_NameError, "name '%.200U' is not defined", name(wanted));
    Ref error = Ref::steal(PyErr_GetRaisedException());
    check(PyObject_SetAttr(error.get(), name("name"_name), name(wanted)));
    PyErr_SetRaisedException(error.release());
    throw PythonError{};
}

Ref Module::parts_of(PyObject* bound) const {
    Ref parts = Ref::steal(PyList_New(0));
    visit_parts(bound, name("__init__"_name),
                [&](PyObject* part) { check(PyList_Append(parts.get(), part)); });
    return Ref::steal(PyList_AsTuple(parts.get()));
}

void Module::remember_own(const Ref& self, std::initializer_list<Name> own) {
    auto& module = *reinterpret_cast<Module*>(self.get());
    for (const Name each : own) {
        module.own_[each.index] = module.parts_of(module[each].get()).release();
    }
}

bool Module::is_own(Name wanted, PyObject* bound) const {
    PyObject* parts = own_[wanted.index];
    if (parts == nullptr || bound != PyTuple_GET_ITEM(parts, 0)) {
        return false;
    }
    Py_ssize_t count = 0;
    bool same = true;
    visit_parts(bound, name("__init__"_name), [&](PyObject* part) {
        same = same && count < PyTuple_GET_SIZE(parts) && PyTuple_GET_ITEM(parts, count) == part;
        ++count;
    });
    return same && count == PyTuple_GET_SIZE(parts);
}

bool Module::is_own(Name wanted) const {
    const Ref bound = find(wanted);
    return bound && is_own(wanted, bound.get());
}

}  // namespace git_utils
