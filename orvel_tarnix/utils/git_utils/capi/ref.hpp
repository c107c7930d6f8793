// The one owner of Python references.
//
// A raw PyObject* in a signature is always borrowed; whoever owns one holds it in a Ref.
#pragma once

#include <Python.h>

#include <exception>
#include <utility>

namespace git_utils {

// Thrown after an API call has failed: the exception itself stays the interpreter's raised one.
struct PythonError {};

// Destroys an object later: a finaliser that runs while a C++ exception passes could not itself be
// unwound, which happens to a daemon thread that the finalising interpreter stops.
void postpone(PyObject* object);
// Destroys what has been postponed; for whoever catches PythonError to do first.
void destroy_postponed();

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
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    // A daemon thread that the finalising interpreter unwinds has no thread state any more and
    // must touch no object; and since a decref can run Python code, which can be unwound so, this
    // destructor may not be noexcept. Immortal objects need neither the question nor the answer;
    // passing them over makes the parsers faster by a tenth.
    ~Ref() noexcept(false) {
        if (object_ == nullptr || _Py_IsImmortal(object_) ||
            PyThreadState_GetUnchecked() == nullptr) {
            return;
        }
        if (Py_REFCNT(object_) == 1 && std::uncaught_exceptions() > 0) {
            postpone(object_);
        } else {
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

}  // namespace git_utils
