// What every body is bound to: the module's globals, as a Python function has them.
//
// This is not the state of PyModule_GetState(): like Python functions, ours own their globals and
// outlive their module object.
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <span>
#include <string_view>
#include <utility>

#include "capi/ref.hpp"
#include "capi/verbs.hpp"

namespace git_utils {

// The strings that the C++ code looks up or calls by. The build collects them from the literals
// "..."_name in the sources; a ModuleState holds each of them interned.
inline constexpr auto name_spellings = std::to_array<std::string_view>({
#include "names_in_use.inc"
});

struct Name {
    std::size_t index;
};

template <std::size_t size>
struct NameLiteral {
    // Implicit, so that a literal can be the operator's argument.
    // NOLINTNEXTLINE(google-explicit-constructor)
    consteval NameLiteral(const char (&literal)[size]) { std::copy_n(literal, size, text); }
    char text[size]{};
};

// "split"_name
template <NameLiteral literal>
constexpr Name operator""_name() {
    constexpr auto found = std::ranges::find(name_spellings, std::string_view(literal.text));
    static_assert(found != name_spellings.end(), "no such name");
    return Name{static_cast<std::size_t>(found - name_spellings.begin())};
}

// A record class as the stub declares it.
struct RecordClass {
    Name type;
    std::span<const Name> fields;
};

// An argument whose evaluation runs no Python code: not a Ref that another call returns
template <class Argument>
concept VariableOrLiteral = !std::same_as<Argument, Ref>;

// A Python object of its own, so that the garbage collector sees the cycle from the globals through
// a function to its body and back. After the import only the garbage collector changes it.
class ModuleState {
public:
    // The ModuleState for the namespace of `module`; the functions own it.
    static Ref create(PyObject* module);
    static const ModuleState& of(Borrowed self) {
        return *reinterpret_cast<const ModuleState*>(self.get());
    }

    [[nodiscard]] PyObject* globals() const { return globals_; }
    // The interned string itself.
    [[nodiscard]] PyObject* name(Name name) const {
        return PyTuple_GET_ITEM(names_, static_cast<Py_ssize_t>(name.index));
    }

    // A module-level name, read as a Python statement reads it: from the globals, then from the
    // built-ins, else NameError. Look it up at each use, since any code in between can rebind it.
    [[nodiscard]] Ref operator[](Name wanted) const;
    // The same, but nothing instead of NameError.
    [[nodiscard]] Ref find(Name wanted) const;

    // object.attribute
    [[nodiscard]] Ref attribute(Borrowed object, Name attribute) const {
        return Ref::steal(PyObject_GetAttr(object.get(), name(attribute)));
    }
    // object.method(arguments...). Python looks the method up before it evaluates the arguments;
    // for arguments that can run Python code write call({module.attribute(object, method), ...}).
    template <VariableOrLiteral... Arguments>
    Ref call_method(Borrowed object, Name method, Arguments&&... arguments) const {
        const Operand operands[] = {object, std::forward<Arguments>(arguments)...};
        const auto objects = objects_of(operands);
        return Ref::steal(
            PyObject_VectorcallMethod(name(method), objects.data(), objects.size(), nullptr));
    }

    // Takes a snapshot of each guard of the fast paths, at the end of the import (guards.cpp).
    static void take_snapshots(Borrowed self, std::span<const Name> guards);
    // The object of the snapshot, whatever the name is bound to now: without the GIL another thread
    // can rebind it at any moment.
    [[nodiscard]] Ref original(Name guard) const;
    // Whether the name is still bound to the object of the snapshot, and nothing that decides what
    // the object does has been replaced.
    [[nodiscard]] bool is_unmodified(Name guard) const;
    [[nodiscard]] bool is_unmodified(Name guard, Borrowed bound) const;
    [[nodiscard]] bool are_unmodified(std::span<const Name> guards) const;

private:
    static int traverse(PyObject* self, visitproc visit, void* arg);
    static int clear(PyObject* self);
    static void dealloc(PyObject* self);

    [[maybe_unused]] PyObject ob_base_;  // the head of every Python object
    PyObject* globals_;
    PyObject* names_;
    // For each name null or a snapshot of the object it was bound to (guards.cpp)
    std::array<PyObject*, name_spellings.size()> snapshots_;
};

}  // namespace git_utils
