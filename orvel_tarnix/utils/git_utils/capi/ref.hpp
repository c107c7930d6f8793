// References to Python objects: Ref owns one, Borrowed does not.
#pragma once

#include <Python.h>

#include <utility>

namespace git_utils {

// Thrown after an API call has failed. The exception itself stays the interpreter's raised one.
struct PythonError {};

class Ref {
public:
    Ref() = default;

    // Takes over a new reference; null means that the API call has raised.
    static Ref steal(PyObject* object) {
        if (object == nullptr) {
            throw PythonError{};
        }
        return Ref(object);
    }
    // Takes over a new reference, or null where the API means "none" by it.
    static Ref maybe(PyObject* object) { return Ref(object); }
    static Ref borrow(PyObject* object) { return Ref(Py_XNewRef(object)); }

    Ref(const Ref& other) : object_(Py_XNewRef(other.object_)) {}
    Ref(Ref&& other) noexcept : object_(other.release()) {}
    // Two assignments, not one that takes its argument by value: in a template, clang up to 16
    // never destroys the by-value parameter of `ref = {}`, so the replaced object would leak.
    Ref& operator=(const Ref& other) { return *this = Ref(other); }
    // Not noexcept, because it drops a reference. NOLINTNEXTLINE(*-noexcept-move-*)
    Ref& operator=(Ref&& other) {
        const Ref replaced(std::exchange(object_, other.release()));
        return *this;
    }

    // Not noexcept: a decref can run Python code, in which the finalising interpreter unwinds a
    // daemon thread by force. An unwound thread has no thread state and must touch no object.
    // Skipping immortal objects makes the parsers faster by a tenth.
    ~Ref() noexcept(false) {
        if (object_ != nullptr && !_Py_IsImmortal(object_) &&
            PyThreadState_GetUnchecked() != nullptr) {
            Py_DECREF(object_);
        }
    }

    [[nodiscard]] PyObject* get() const { return object_; }
    [[nodiscard]] PyObject* release() { return std::exchange(object_, nullptr); }
    explicit operator bool() const { return object_ != nullptr; }

private:
    explicit Ref(PyObject* object) : object_(object) {}

    PyObject* object_ = nullptr;
};

// A parameter: an object that the caller owns for the duration of the call.
class Borrowed {
public:
    // Implicit, so that functions accept both kinds. NOLINTNEXTLINE(google-explicit-constructor)
    Borrowed(PyObject* object) : object_(object) {}
    // NOLINTNEXTLINE(google-explicit-constructor)
    Borrowed(const Ref& ref) : object_(ref.get()) {}

    [[nodiscard]] PyObject* get() const { return object_; }

private:
    PyObject* object_;
};

// left is right
inline bool is(Borrowed left, Borrowed right) { return left.get() == right.get(); }

}  // namespace git_utils
