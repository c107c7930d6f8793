// References to Python objects: Ref owns one, Borrowed does not.
#pragma once

#include <Python.h>

#include <utility>

namespace git_utils {

// Thrown after an API call has failed: the exception itself stays the interpreter's raised one.
struct PythonError {};

class Ref {
public:
    Ref() = default;

    // Takes over a new reference; a null one means that the call that made it has raised.
    static Ref steal(PyObject* object) {
        if (object == nullptr) {
            throw PythonError{};
        }
        return Ref(object);
    }
    // Takes over a new reference where null means "there is none".
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

    // A daemon thread that the finalising interpreter unwinds has no thread state any more and
    // must touch no object. Since a decref can run Python code, which can be unwound so, this
    // destructor may not be noexcept. Immortal objects need neither the question nor the decref;
    // passing them over makes the parsers faster by a tenth.
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

// An object that somebody else owns for as long as the call lasts: what functions take. It is made
// from either kind of reference, so that a call reads like the Python statement that it stands for.
class Borrowed {
public:
    // Conversions are what it is for. NOLINTNEXTLINE(google-explicit-constructor)
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
