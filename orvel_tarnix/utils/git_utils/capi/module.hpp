// What every native function is bound to: the module's globals, as a Python function has them.
#pragma once

#include <array>

#include "capi/calls.hpp"
#include "capi/names.hpp"
#include "capi/ref.hpp"

namespace git_utils {

// A Python object of its own, so that the cycle from the globals through a function to its native
// body and back is seen by the garbage collector. It never changes once the import has ended.
class Module {
public:
    // Bound to the namespace of `module`; what create() makes is owned by the functions.
    static Ref create(PyObject* module);
    static const Module& of(PyObject* self) { return *reinterpret_cast<const Module*>(self); }

    [[nodiscard]] PyObject* globals() const { return globals_; }
    // The interned string itself.
    [[nodiscard]] PyObject* name(Name name) const { return names_[name.index]; }

    // A module-level name read as a Python statement reads it: from the globals, then from the
    // built-ins, else NameError. Read it at each use; whoever runs in between may rebind it.
    [[nodiscard]] Ref operator[](Name wanted) const;
    // The same where it is no error that there is none.
    [[nodiscard]] Ref find(Name wanted) const;

    [[nodiscard]] Ref attribute(PyObject* object, Name attribute) const {
        return Ref::steal(PyObject_GetAttr(object, name(attribute)));
    }
    template <class... Arguments>
    Ref call_method(PyObject* object, Name method, Arguments... arguments) const {
        return git_utils::call_method(object, name(method), arguments...);
    }

    // Takes down what the names in `own` are bound to, and of what parts it consists.
    static void remember_own(const Ref& self, std::initializer_list<Name> own);
    // Whether `bound` is what the import bound to `wanted`, in all its parts: then, and only then,
    // native code may do its work in its place.
    [[nodiscard]] bool is_own(Name wanted, PyObject* bound) const;
    // The same of what the name is bound to now.
    [[nodiscard]] bool is_own(Name wanted) const;

private:
    using Objects = std::array<PyObject*, name_spellings.size()>;

    static int traverse(PyObject* self, visitproc visit, void* arg);
    static int clear(PyObject* self);
    static void dealloc(PyObject* self);

    [[nodiscard]] Ref parts_of(PyObject* bound) const;

    [[maybe_unused]] PyObject ob_base_;  // the head that every object has, for the interpreter
    PyObject* globals_;
    Objects names_;
    Objects own_;  // for each name either null or the parts of what the import bound to it
};

}  // namespace git_utils
