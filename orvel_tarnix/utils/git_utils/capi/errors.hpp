// Raising, checking and handling Python exceptions.
#pragma once

#include "capi/ref.hpp"

namespace git_utils {

// The outcome of an API call that answers with a negative number when it has raised.
template <class Status>
Status check(Status status) {
    if (status < 0) {
        throw PythonError{};
    }
    return status;
}

// `raise type(message)`, the message as PyUnicode_FromFormat makes it.
[[noreturn]] void raise(PyObject* type, const char* format, ...);
// `raise error`, an exception or an exception class.
[[noreturn]] void raise(Borrowed error);

// An `except` clause: while it stands, the exception that was raised is the one being handled, so
// logging handlers see it, and what is raised inside is chained to it.
class HandledException {
public:
    HandledException();
    HandledException(const HandledException&) = delete;
    HandledException& operator=(const HandledException&) = delete;
    ~HandledException() noexcept(false);

    // Whether `except type:` would take it; raises as the interpreter does for what is no type.
    [[nodiscard]] bool matches(Borrowed type) const;
    // A bare `raise`.
    [[noreturn]] void reraise();
    // `raise type(message) from` the exception being handled.
    [[noreturn]] void raise_from(Borrowed type, Borrowed message) const;

private:
    Ref exception_;
    Ref traceback_;  // as it was before this function's own frame was put on it
    Ref previous_;   // what was being handled outside
};

}  // namespace git_utils
