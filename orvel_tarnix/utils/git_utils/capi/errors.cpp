#include "capi/errors.hpp"

#include <cstdarg>

namespace git_utils {
namespace {

// This frame's own exc_info. PyErr_GetHandledException walks up to the caller of a generator, and
// restoring that value would outlive the caller's handler.
PyObject* handled_here() { return PyThreadState_Get()->exc_info->exc_value; }

bool is_exception_type(PyObject* type) {
    if (!PyTuple_Check(type)) {
        return PyExceptionClass_Check(type);
    }
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(type); ++i) {
        if (!PyExceptionClass_Check(PyTuple_GET_ITEM(type, i))) {
            return false;
        }
    }
    return true;
}

}  // namespace

void raise(PyObject* type, const char* format, ...) {
    va_list values;
    va_start(values, format);
    PyErr_FormatV(type, format, values);
    va_end(values);
    throw PythonError{};
}

void raise(Borrowed error) {
    PyObject* raised = error.get();
    PyObject* type = raised;
    Ref instance = Ref::borrow(raised);
    if (PyExceptionClass_Check(raised)) {
        instance = Ref::steal(PyObject_CallNoArgs(raised));
        if (!PyExceptionInstance_Check(instance.get())) {
            raise(PyExc_TypeError,
                  "calling %R should have returned an instance of BaseException, not %R", raised,
                  Py_TYPE(instance.get()));
        }
    } else if (PyExceptionInstance_Check(raised)) {
        type = PyExceptionInstance_Class(raised);
    } else {
        raise(PyExc_TypeError, "exceptions must derive from BaseException");
    }
    PyErr_SetObject(type, instance.get());
    throw PythonError{};
}

HandledException::HandledException() {
    exception_ = Ref::maybe(PyErr_GetRaisedException());
    traceback_ = Ref::maybe(PyException_GetTraceback(exception_.get()));
    // Called while nothing is raised: PyEval_GetFrame clears the raised exception when it runs out
    // of memory.
    PyFrameObject* frame = PyEval_GetFrame();
    // In Python a handler's own frame is part of the traceback.
    if (frame != nullptr) {
        PyErr_SetRaisedException(exception_.release());
        PyTraceBack_Here(frame);
        exception_ = Ref::maybe(PyErr_GetRaisedException());
    }
    previous_ = Ref::borrow(handled_here());
    PyErr_SetHandledException(exception_.get());
}

HandledException::~HandledException() noexcept(false) {
    if (PyThreadState_GetUnchecked() != nullptr) {
        PyErr_SetHandledException(previous_.get());
    }
}

bool HandledException::matches(Borrowed type) const {
    if (!is_exception_type(type.get())) {
        raise(PyExc_TypeError,
              "catching classes that do not inherit from BaseException is not allowed");
    }
    return PyErr_GivenExceptionMatches(exception_.get(), type.get()) != 0;
}

void HandledException::reraise() {
    // The interpreter adds this frame again when the exception leaves it.
    PyException_SetTraceback(exception_.get(), traceback_ ? traceback_.get() : Py_None);
    PyErr_SetRaisedException(Ref(exception_).release());
    throw PythonError{};
}

void HandledException::raise_from(Borrowed type, Borrowed message) const {
    PyErr_SetObject(type.get(), message.get());
    Ref raised = Ref::maybe(PyErr_GetRaisedException());
    PyException_SetCause(raised.get(), Ref(exception_).release());
    PyErr_SetRaisedException(raised.release());
    throw PythonError{};
}

}  // namespace git_utils
