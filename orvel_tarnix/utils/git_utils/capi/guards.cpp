// Whether a guard of a fast path still does what it did at the end of the import.
//
// The import takes a snapshot of each guard that is what our own statements make; each call
// compares. A guard counts as modified if its name is bound to another object. Also:
// - a function, if its code or the content of its closure has been replaced;
// - a record class, if it is abstract, has a `__new__`, a `__del__` or another `__init__`, or has
//   another attribute with the name of a field: a data descriptor would receive the field's value.
// A dict is different: it is read at each use, so any plain dict will do, as long as its keys are
// plain str and a look-up runs no Python code.
#include "capi/module_state.hpp"
#include "declarations.hpp"
#include "scan/patch_scanner.hpp"
#include "scan/quoted_name.hpp"

namespace git_utils {
namespace {

// A snapshot is a tuple of three: the object, the names of the class attributes that matter (empty
// unless it is a record class), and the parts, which are compared one by one: those attributes,
// code objects and the contents of closure cells.
constexpr Py_ssize_t snapshot_object = 0;
constexpr Py_ssize_t snapshot_attributes = 1;
constexpr Py_ssize_t snapshot_parts = 2;

// Calls `visit` with each part of a function until it returns false. The parts are owned meanwhile,
// since another thread may replace them.
template <class Visit>
bool visit_function(const ModuleState& module, Borrowed function, Visit visit) {
    if (!PyFunction_Check(function.get())) {
        return true;
    }
    // Not through `__code__`, which calls audit hooks.
    // ast-grep-ignore: borrowed-from-mutable
    if (!visit(Ref::borrow(PyFunction_GET_CODE(function.get())))) {
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
bool visit_class(const ModuleState& module, Borrowed object, Borrowed attributes, Visit visit) {
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
bool visit_parts(const ModuleState& module, Borrowed object, Borrowed attributes, Visit visit) {
    return PyType_Check(object.get()) ? visit_class(module, object, attributes, visit)
                                      : visit_function(module, object, visit);
}

bool equals(Borrowed object, const Operand& expected) { return is_equal({object, expected.get()}); }

// tuple == (first, *names)
bool are_names(const ModuleState& module, Borrowed tuple, PyObject* first,
               std::span<const Name> names) {
    const Ref expected = list_of({first});
    for (const Name each : names) {
        append(expected, module.name(each));
    }
    return is_equal({tuple, Ref::steal(PyList_AsTuple(expected.get()))});
}

// Whether the function is the __init__ that dataclass(frozen=True) generates for these fields: it
// only calls `object.__setattr__(self, "field", field)` for one after the other.
bool sets_fields(const ModuleState& module, Borrowed init, std::span<const Name> fields) {
    if (init.get() == nullptr || !PyFunction_Check(init.get())) {
        return false;
    }
    // ast-grep-ignore: borrowed-from-mutable
    const Ref code = Ref::borrow(PyFunction_GET_CODE(init.get()));
    const auto part = [&](Name name) { return module.attribute(code, name); };
    return are_names(module, part("co_varnames"_name), module.name("self"_name), fields) &&
           are_names(module, part("co_consts"_name), Py_None, fields) &&
           are_names(module, part("co_names"_name), module.name("__setattr__"_name), {}) &&
           equals(part("co_argcount"_name), static_cast<int>(fields.size() + 1));
}

// Whether the object is the class that dataclass(frozen=True) itself creates from our declaration.
// A replacement for dataclass during the import may have returned anything: an object that is not a
// class, or a class with a metaclass, a __post_init__, other fields or descriptors.
bool is_as_declared(const ModuleState& module, Borrowed object, std::span<const Name> fields) {
    if (!Py_IS_TYPE(object.get(), &PyType_Type)) {
        return false;
    }
    auto* type = reinterpret_cast<PyTypeObject*>(object.get());
    const Ref own = Ref::steal(PyType_GetDict(type));
    const auto is_data_descriptor = [&](Name field) {
        const Ref found = find_item(own, module.name(field));
        return found && Py_TYPE(found.get())->tp_descr_set != nullptr;
    };
    return type->tp_base == &PyBaseObject_Type && PyTuple_GET_SIZE(type->tp_bases) == 1 &&
           makes_plain_instances(type) &&
           sets_fields(module, find_item(own, module.name("__init__"_name)), fields) &&
           std::ranges::none_of(fields, is_data_descriptor);
}

// Whether it is re.compile(source, flags), not another object that `re` gave during the import.
bool is_pattern(const ModuleState& module, Borrowed object, const char* source, int flags) {
    // Python code cannot create an immutable type.
    const PyTypeObject* type = Py_TYPE(object.get());
    return (type->tp_flags & Py_TPFLAGS_IMMUTABLETYPE) != 0 &&
           std::string_view(type->tp_name) == "re.Pattern" &&
           equals(module.attribute(object, "pattern"_name), source) &&
           equals(module.attribute(object, "flags"_name), flags);
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

// Whether a guard that is not a record class is what our own statements make.
bool is_own_value(const ModuleState& module, Name name, Borrowed object) {
    constexpr int dotall = 16;   // re.DOTALL
    constexpr int unicode = 32;  // re.UNICODE, which every pattern of str has
    switch (name.index) {
        case "_HUNK_HEADER"_name.index:
            return is_pattern(module, object, scan::hunk_header_pattern, unicode);
        case "_C_ESCAPE"_name.index:
            return is_pattern(module, object, scan::c_escape_pattern, dotall + unicode);
        default:
            return !PyType_Check(object.get());
    }
}

// The snapshot of the object that the name is bound to; nothing if it is not what our own
// statements make, so that the fast path never runs.
Ref snapshot_of(const ModuleState& module, Name name, Borrowed object) {
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
    } else if (!is_own_value(module, name, object)) {
        return {};
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

void ModuleState::take_snapshots(Borrowed self, std::span<const Name> guards) {
    auto& module = *reinterpret_cast<ModuleState*>(self.get());
    for (const Name each : guards) {
        const Ref bound = module.find(each);
        if (bound) {
            module.snapshots_[each.index] = snapshot_of(module, each, bound).release();
        }
    }
}

Ref ModuleState::original(Name guard) const {
    return Ref::borrow(PyTuple_GET_ITEM(snapshots_[guard.index], snapshot_object));
}

bool ModuleState::is_unmodified(Name guard) const {
    const Ref bound = find(guard);
    return bound && is_unmodified(guard, bound);
}

bool ModuleState::is_unmodified(Name guard, Borrowed bound) const {
    PyObject* snapshot = snapshots_[guard.index];
    // Null for a guard that was modified from the start, and after the garbage collector has
    // cleared this object: a finaliser may still call our functions.
    if (snapshot == nullptr) {
        return false;
    }
    PyObject* object = PyTuple_GET_ITEM(snapshot, snapshot_object);
    if (PyDict_CheckExact(object)) {
        return has_plain_keys(bound);
    }
    if (!is(bound, object)) {
        return false;
    }
    PyObject* parts = PyTuple_GET_ITEM(snapshot, snapshot_parts);
    const Py_ssize_t count = PyTuple_GET_SIZE(parts);
    Py_ssize_t seen = 0;
    return visit_parts(*this, bound, PyTuple_GET_ITEM(snapshot, snapshot_attributes),
                       [&](const Ref& part) {
                           const Py_ssize_t place = seen++;
                           return place < count && is(part, PyTuple_GET_ITEM(parts, place));
                       });
}

bool ModuleState::are_unmodified(std::span<const Name> guards) const {
    return std::ranges::all_of(guards, [&](Name each) { return is_unmodified(each); });
}

}  // namespace git_utils
