// Whether a guard of a fast path still does what it did at the end of the import.
//
// The import describes each guard; each call compares. A guard is modified when its name is bound
// to another object, and besides:
// - a function, when its code or the content of its closure has been replaced;
// - a record class, when it is abstract, has its own constructor or finaliser, or another attribute
//   under `__init__` or a field's name (a data descriptor there would receive the field's value).
// A dict is different: it is read at each use, so any plain dict will do, as long as its keys are
// plain str and a look-up runs no Python code.
#include "capi/module.hpp"
#include "declarations.hpp"

namespace git_utils {
namespace {

// A description is a tuple of three: the object, the names of the class attributes that matter
// (empty unless it is a record class), and the parts, which are compared one by one.
constexpr Py_ssize_t described_object = 0;
constexpr Py_ssize_t described_attributes = 1;
constexpr Py_ssize_t described_parts = 2;

// Calls `visit` with each part of a function until it returns false. The parts are owned meanwhile,
// since another thread may replace them.
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
        const Ref content = Ref::maybe(PyCell_Get(PyTuple_GET_ITEM(closure.get(), i)));
        if (!visit(content ? content : none())) {
            return false;
        }
    }
    return true;
}

// Whether calling the class creates an instance as object.__new__ does, and no finaliser runs.
bool makes_plain_instances(const PyTypeObject* type) {
    return type->tp_new == PyBaseObject_Type.tp_new &&
           (type->tp_flags & Py_TPFLAGS_IS_ABSTRACT) == 0 && type->tp_finalize == nullptr;
}

template <class Visit>
bool visit_class(const Module& module, Borrowed object, Borrowed attributes, Visit visit) {
    auto* type = reinterpret_cast<PyTypeObject*>(object.get());
    if (!makes_plain_instances(type)) {
        return false;
    }
    const Ref own = Ref::steal(PyType_GetDict(type));
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(attributes.get()); ++i) {
        const Ref attribute = find_item(own, PyTuple_GET_ITEM(attributes.get(), i));
        if (!visit(attribute ? attribute : none()) ||
            (attribute && !visit_function(module, attribute, visit))) {
            return false;
        }
    }
    return true;
}

template <class Visit>
bool visit_parts(const Module& module, Borrowed object, Borrowed attributes, Visit visit) {
    return PyType_Check(object.get()) ? visit_class(module, object, attributes, visit)
                                      : visit_function(module, object, visit);
}

// Whether dataclass() generated the function: it compiles its methods inside `__create_fn__`.
bool is_generated(const Module& module, Borrowed function, const char* qualified_name) {
    if (function.get() == nullptr || !PyFunction_Check(function.get())) {
        return false;
    }
    const Ref code = module.attribute(function, "__code__"_name);
    const Ref name = module.attribute(code, "co_qualname"_name);
    return PyUnicode_EqualToUTF8(name.get(), qualified_name) != 0;
}

bool are_names(const Module& module, Borrowed tuple, std::span<const Name> names) {
    if (tuple.get() == nullptr || !PyTuple_CheckExact(tuple.get()) ||
        std::cmp_not_equal(PyTuple_GET_SIZE(tuple.get()), names.size())) {
        return false;
    }
    return std::ranges::equal(std::span(&PyTuple_GET_ITEM(tuple.get(), 0), names.size()), names,
                              [&](PyObject* item, Name name) {
                                  return PyUnicode_CheckExact(item) &&
                                         PyUnicode_Compare(item, module.name(name)) == 0;
                              });
}

// Whether the object is the class that dataclass(frozen=True) itself makes of our declaration.
// Another callable at its place in the import may have returned anything: an object that is not a
// class, or a class with a metaclass, a __post_init__, other fields or descriptors.
bool is_as_declared(const Module& module, Borrowed object, std::span<const Name> fields) {
    if (!Py_IS_TYPE(object.get(), &PyType_Type)) {
        return false;
    }
    auto* type = reinterpret_cast<PyTypeObject*>(object.get());
    const Ref own = Ref::steal(PyType_GetDict(type));
    const auto attribute = [&](Name name) { return find_item(own, module.name(name)); };
    const auto is_data_descriptor = [&](Name field) {
        const Ref found = attribute(field);
        return found && Py_TYPE(found.get())->tp_descr_set != nullptr;
    };
    const Ref declared = attribute("__dataclass_fields__"_name);
    return type->tp_base == &PyBaseObject_Type && PyTuple_GET_SIZE(type->tp_bases) == 1 &&
           makes_plain_instances(type) && !attribute("__post_init__"_name) &&
           is_generated(module, attribute("__init__"_name), "__create_fn__.<locals>.__init__") &&
           // Only a frozen class has this one; its __init__ passes over any other __setattr__.
           is_generated(module, attribute("__setattr__"_name),
                        "__create_fn__.<locals>.__setattr__") &&
           declared && PyDict_CheckExact(declared.get()) &&
           are_names(module, Ref::steal(PySequence_Tuple(declared.get())), fields) &&
           are_names(module, attribute("__match_args__"_name), fields) &&
           std::ranges::none_of(fields, is_data_descriptor);
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

// The description of the object that the name is bound to; nothing for a record class that is
// modified from the start.
Ref describe(const Module& module, Name name, Borrowed object) {
    const Ref attributes = empty_list();
    const auto record = std::ranges::find(record_classes, name.index,
                                          [](const RecordClass& each) { return each.type.index; });
    if (record != record_classes.end()) {
        if (!is_as_declared(module, object, record->fields)) {
            return {};
        }
        append(attributes, module.name("__init__"_name));
        for (const Name field : record->fields) {
            append(attributes, module.name(field));
        }
    }
    const Ref names = Ref::steal(PyList_AsTuple(attributes.get()));
    const Ref parts = empty_list();
    visit_parts(module, object, names, [&](const Ref& part) {
        append(parts, part);
        return true;
    });
    return tuple_of({object, names, Ref::steal(PyList_AsTuple(parts.get()))});
}

}  // namespace

void Module::remember(const Ref& self, std::span<const Name> guards) {
    auto& module = *reinterpret_cast<Module*>(self.get());
    for (const Name each : guards) {
        if (module.remembered_[each.index] == nullptr) {
            module.remembered_[each.index] = describe(module, each, module[each]).release();
        }
    }
}

Ref Module::remembered(Name guard) const {
    return Ref::borrow(PyTuple_GET_ITEM(remembered_[guard.index], described_object));
}

bool Module::is_unmodified(Name guard) const {
    const Ref bound = find(guard);
    return bound && is_unmodified(guard, bound);
}

bool Module::is_unmodified(Name guard, Borrowed bound) const {
    PyObject* description = remembered_[guard.index];
    // Null for a guard that was modified from the start, and after the garbage collector has
    // cleared this object: a finaliser may still call our functions.
    if (description == nullptr) {
        return false;
    }
    PyObject* object = PyTuple_GET_ITEM(description, described_object);
    if (PyDict_CheckExact(object)) {
        return has_plain_keys(bound);
    }
    if (!is(bound, object)) {
        return false;
    }
    PyObject* parts = PyTuple_GET_ITEM(description, described_parts);
    const Py_ssize_t count = PyTuple_GET_SIZE(parts);
    Py_ssize_t seen = 0;
    return visit_parts(*this, bound, PyTuple_GET_ITEM(description, described_attributes),
                       [&](const Ref& part) {
                           const Py_ssize_t place = seen++;
                           return place < count && is(part, PyTuple_GET_ITEM(parts, place));
                       });
}

bool Module::are_unmodified(std::span<const Name> guards) const {
    return std::ranges::all_of(guards, [&](Name each) { return is_unmodified(each); });
}

}  // namespace git_utils
