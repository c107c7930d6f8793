#include "runner/launch.hpp"

namespace git_utils::runner {
namespace {

// keywords.update(extra), but a key that is there already is an error.
void merge_new_keys(PyObject* keywords, PyObject* extra) {
    const Ref keys = Ref::steal(PyMapping_Keys(extra));
    const Ref iterator = Ref::steal(PyObject_GetIter(keys.get()));
    while (const Ref key = next(iterator.get())) {
        if (check(PyDict_Contains(keywords, key.get())) != 0) {
            raise(call(PyExc_KeyError, key.get()));
        }
        const Ref value = Ref::steal(PyObject_GetItem(extra, key.get()));
        check(PyDict_SetItem(keywords, key.get(), value.get()));
    }
}

// `**extra` of a call. The interpreter tells what went wrong from the exception's type alone, so
// an AttributeError or a KeyError of the mapping's own methods reads the same there as here.
void unpack_keywords(PyObject* callable, PyObject* keywords, PyObject* extra) {
    try {
        merge_new_keys(keywords, extra);
    } catch (const PythonError&) {
        destroy_postponed();
        const Ref raised = Ref::maybe(PyErr_GetRaisedException());
        const bool no_mapping =
            PyErr_GivenExceptionMatches(raised.get(), PyExc_AttributeError) != 0;
        if (no_mapping || PyErr_GivenExceptionMatches(raised.get(), PyExc_KeyError) != 0) {
            const Ref function = Ref::steal(_PyObject_FunctionStr(callable));
            if (no_mapping) {
                raise(PyExc_TypeError, "%U argument after ** must be a mapping, not %.200s",
                      function.get(), Py_TYPE(extra)->tp_name);
            }
            const Ref arguments = Ref::steal(PyException_GetArgs(raised.get()));
            if (PyTuple_Check(arguments.get()) && PyTuple_GET_SIZE(arguments.get()) == 1) {
                raise(PyExc_TypeError, "%U got multiple values for keyword argument '%S'",
                      function.get(), PyTuple_GET_ITEM(arguments.get(), 0));
            }
        }
        PyErr_SetRaisedException(Ref(raised).release());
        throw;
    }
}

}  // namespace

Ref launch(const Module& module, PyObject* repo_root, PyObject* args, PyObject* timeout) {
    const Ref run = module.attribute(module["subprocess"_name].get(), "run"_name);
    const Ref program = list_of_texts({"git"});
    const Ref command = Ref::steal(PyNumber_Add(program.get(), args));
    const Ref keywords = Ref::steal(PyDict_New());
    const auto set = [&](Name keyword, PyObject* value) {
        check(PyDict_SetItem(keywords.get(), module.name(keyword), value));
    };
    set("cwd"_name, Ref::steal(PyObject_Str(repo_root)).get());
    set("capture_output"_name, Py_True);
    set("encoding"_name, module.name("utf-8"_name));
    set("errors"_name, module.name("replace"_name));
    set("timeout"_name, timeout);
    const Ref hidden = call(module["get_subprocess_hidden_kwargs"_name].get());
    unpack_keywords(run.get(), keywords.get(), hidden.get());
    const Ref arguments = Ref::steal(PyTuple_Pack(1, command.get()));
    return Ref::steal(PyObject_Call(run.get(), arguments.get(), keywords.get()));
}

}  // namespace git_utils::runner
