#include "capi/unmodified.hpp"

namespace git_utils {
namespace {

// A description is a tuple of three: the object, the names of the class members that decide what
// it does (none unless it is a record class), and its parts, which are compared one by one.
constexpr Py_ssize_t described_members = 1;
constexpr Py_ssize_t described_parts = 2;

// Calls `visit` with each part of a function, until it answers false. The parts are owned while
// they are looked at: another thread may replace them meanwhile.
template <class Visit>
bool visit_function(const Module& module, Borrowed function, Visit visit) {
    if (!PyFunction_Check(function.get())) {
        return true;
    }
    if (!visit(module.attribute(function, "__code__"_name))) {
        return false;
    }
    const Ref closure = module.attribute(function, "__closure__"_name);
    if (is(closure, Py_None)) {
        return true;
    }
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(closure.get()); ++i) {
        const Ref held = Ref::maybe(PyCell_Get(PyTuple_GET_ITEM(closure.get(), i)));
        if (!visit(held ? held : none())) {
            return false;
        }
    }
    return true;
}

// Whether calling the class makes an instance as object.__new__ does, for its constructor to fill,
// and nothing happens when the instance goes.
bool makes_plain_instances(const PyTypeObject* type) {
    return type->tp_new == PyBaseObject_Type.tp_new &&
           (type->tp_flags & Py_TPFLAGS_IS_ABSTRACT) == 0 && type->tp_finalize == nullptr;
}

template <class Visit>
bool visit_class(const Module& module, Borrowed object, Borrowed members, Visit visit) {
    auto* type = reinterpret_cast<PyTypeObject*>(object.get());
    if (!makes_plain_instances(type)) {
        return false;
    }
    const Ref held = Ref::steal(PyType_GetDict(type));
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(members.get()); ++i) {
        const Ref member = find_item(held, PyTuple_GET_ITEM(members.get(), i));
        if (!visit(member ? member : none()) ||
            (member && !visit_function(module, member, visit))) {
            return false;
        }
    }
    return true;
}

template <class Visit>
bool visit_parts(const Module& module, Borrowed object, Borrowed members, Visit visit) {
    return PyType_Check(object.get()) ? visit_class(module, object, members, visit)
                                      : visit_function(module, object, visit);
}

// The names of a record class's fields; nothing for a class that dataclass() itself did not make:
// what stood in its place at the import may have given it any constructor.
Ref fields_of(const Module& module, Borrowed type) {
    const Ref constructor = module.attribute(type, "__init__"_name);
    if (!PyFunction_Check(constructor.get())) {
        return {};
    }
    // dataclass() writes the methods as text and executes that.
    const Ref code = module.attribute(constructor, "__code__"_name);
    const Ref file = module.attribute(code, "co_filename"_name);
    if (PyUnicode_CompareWithASCIIString(file.get(), "<string>") != 0) {
        return {};
    }
    PyObject* fields = nullptr;
    check(PyObject_GetOptionalAttr(type.get(), module.name("__match_args__"_name), &fields));
    return Ref::maybe(fields);
}

bool has_plain_keys(Borrowed object) {
    if (!PyDict_CheckExact(object.get())) {
        return false;
    }
    const Ref keys = iterate(Ref::steal(PyDict_Keys(object.get())));
    while (const Ref key = next(keys)) {
        if (!PyUnicode_CheckExact(key.get())) {
            return false;
        }
    }
    return true;
}

}  // namespace

Ref described(const Module& module, Borrowed object) {
    const Ref members = empty_list();
    if (PyType_Check(object.get())) {
        const Ref fields = fields_of(module, object);
        if (!fields) {
            return {};
        }
        append(members, module.name("__init__"_name));
        extend(members, fields);
    }
    const Ref names = Ref::steal(PyList_AsTuple(members.get()));
    const Ref parts = empty_list();
    visit_parts(module, object, names, [&](const Ref& part) {
        append(parts, part);
        return true;
    });
    const Ref as_tuple = Ref::steal(PyList_AsTuple(parts.get()));
    return tuple_of(object, names, as_tuple);
}

Ref described_object(Borrowed description) {
    return Ref::borrow(PyTuple_GET_ITEM(description.get(), 0));
}

bool still_as_described(const Module& module, Borrowed object, Borrowed description) {
    const Ref first = described_object(description);
    if (PyDict_CheckExact(first.get())) {
        return has_plain_keys(object);
    }
    if (!is(object, first)) {
        return false;
    }
    PyObject* parts = PyTuple_GET_ITEM(description.get(), described_parts);
    const Py_ssize_t count = PyTuple_GET_SIZE(parts);
    Py_ssize_t seen = 0;
    return visit_parts(module, object, PyTuple_GET_ITEM(description.get(), described_members),
                       [&](const Ref& part) {
                           const Py_ssize_t place = seen++;
                           return place < count && is(part, PyTuple_GET_ITEM(parts, place));
                       });
}

}  // namespace git_utils
