// What every native body is bound to: the module's globals, as a Python function has them.
#pragma once

#include <array>
#include <span>

#include "capi/names.hpp"
#include "capi/ref.hpp"
#include "capi/verbs.hpp"

namespace git_utils {

// A Python object of its own, so that the cycle from the globals through a function to its native
// body and back is seen by the garbage collector. It never changes once the import has ended.
class Module {
public:
    // Bound to the namespace of `module`; the functions own what create() makes.
    static Ref create(PyObject* module);
    static const Module& of(Borrowed self) { return *reinterpret_cast<const Module*>(self.get()); }

    [[nodiscard]] PyObject* globals() const { return globals_; }
    // The interned string itself.
    [[nodiscard]] PyObject* name(Name name) const {
        return PyTuple_GET_ITEM(names_, static_cast<Py_ssize_t>(name.index));
    }

    // A module-level name read as a Python statement reads it: from the globals, then from the
    // built-ins, else NameError. Read it at each use; whoever runs in between may rebind it.
    [[nodiscard]] Ref operator[](Name wanted) const;
    // The same where it is no error that there is none.
    [[nodiscard]] Ref find(Name wanted) const;

    [[nodiscard]] Ref attribute(Borrowed object, Name attribute) const {
        return Ref::steal(PyObject_GetAttr(object.get(), name(attribute)));
    }
    template <Object... Arguments>
    Ref call_method(Borrowed object, Name method, const Arguments&... arguments) const {
        return git_utils::call_method(object, name(method), arguments...);
    }

    // Remembers what each of the names is bound to at the end of the import.
    static void remember(const Ref& self, std::span<const Name> wanted);
    // That object, whatever the name is bound to now: without the GIL another thread can rebind it
    // at any moment.
    [[nodiscard]] Ref remembered(Name wanted) const;
    // Whether the name is still bound to that, and nothing that decides what it does has been
    // replaced (capi/unmodified.hpp): then, and only then, native code may do its work in its
    // place.
    [[nodiscard]] bool is_unmodified(Name wanted) const;
    [[nodiscard]] bool is_unmodified(Name wanted, Borrowed bound) const;
    [[nodiscard]] bool are_unmodified(std::span<const Name> wanted) const;

private:
    static int traverse(PyObject* self, visitproc visit, void* arg);
    static int clear(PyObject* self);
    static void dealloc(PyObject* self);

    [[maybe_unused]] PyObject ob_base_;  // the head that every object has, for the interpreter
    PyObject* globals_;
    PyObject* names_;
    // For each name null or the description of what it was bound to.
    std::array<PyObject*, name_spellings.size()> remembered_;
};

}  // namespace git_utils
