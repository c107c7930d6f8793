// Raising, checking and handling Python exceptions.
#pragma once

#include "capi/ref.hpp"

namespace git_utils {

// Throws if an API call has returned a negative number, else returns it.
template <class Status>
Status check(Status status) {
    if (status < 0) {
        throw PythonError{};
    }
    return status;
}

// `raise type(message)`, the message in the notation of PyUnicode_FromFormat
[[noreturn]] void raise(PyObject* type, const char* format, ...);
// `raise error`, an exception or an exception class
[[noreturn]] void raise(Borrowed error);

// The body of an `except` clause. While it exists, the raised exception is the one being handled:
// logging handlers see it, and exceptions raised inside are chained to it.
class HandledException {
public:
    HandledException();
    HandledException(const HandledException&) = delete;
    HandledException& operator=(const HandledException&) = delete;
    ~HandledException() noexcept(false);

    // Whether `except type:` catches it. Raises TypeError if `type` is not an exception class.
    [[nodiscard]] bool matches(Borrowed type) const;
    // A bare `raise`
    [[noreturn]] void reraise();
    // `raise type(message) from error`, where error is the exception being handled
    [[noreturn]] void raise_from(Borrowed type, Borrowed message) const;

private:
    Ref exception_;
    Ref traceback_;  // without the entry of this frame
    Ref previous_;   // the exception that was being handled before
};

}  // namespace git_utils
