#include "runner/launch.hpp"

namespace git_utils::runner {
namespace {

// Where `**extra` takes its items from. A dict gives what is stored in it, whatever its class
// overrides but __iter__. Any other mapping is asked through its methods.
Ref items_source(Borrowed extra) {
    const bool is_dict =
        PyDict_Check(extra.get()) && Py_TYPE(extra.get())->tp_iter == PyDict_Type.tp_iter;
    return is_dict ? Ref::steal(PyDict_Copy(extra.get())) : Ref::borrow(extra.get());
}

// keywords.update(extra), but a key that is there already is an error.
void merge_new_keys(Borrowed keywords, Borrowed extra) {
    const Ref source = items_source(extra);
    const Ref keys = iterate(Ref::steal(PyMapping_Keys(source.get())));
    while (const Ref key = next(keys)) {
        if (check(PyDict_Contains(keywords.get(), key.get())) != 0) {
            raise(call(PyExc_KeyError, key));
        }
        set_item(keywords, key, item(source, key));
    }
}

// `**extra` of a call. Like the interpreter it tells from the type of an exception alone what went
// wrong: an AttributeError stands for an object that is no mapping, a KeyError for a repeated
// keyword, even where a method of the mapping has raised it for another reason.
void unpack_keywords(Borrowed callable, Borrowed keywords, Borrowed extra) {
    try {
        merge_new_keys(keywords, extra);
    } catch (const PythonError&) {
        const Ref raised = Ref::maybe(PyErr_GetRaisedException());
        const bool no_mapping =
            PyErr_GivenExceptionMatches(raised.get(), PyExc_AttributeError) != 0;
        if (no_mapping || PyErr_GivenExceptionMatches(raised.get(), PyExc_KeyError) != 0) {
            const Ref function = Ref::steal(_PyObject_FunctionStr(callable.get()));
            if (no_mapping) {
                raise(PyExc_TypeError, "%U argument after ** must be a mapping, not %.200s",
                      function.get(), Py_TYPE(extra.get())->tp_name);
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

Ref launch(const Module& module, Borrowed repo_root, Borrowed args, Borrowed timeout) {
    const Ref run = module.attribute(module["subprocess"_name], "run"_name);
    const Ref command = add(list_of({"git"}), args);
    const Ref keywords = empty_dict();
    const auto set = [&](Name keyword, Borrowed value) {
        set_item(keywords, module.name(keyword), value);
    };
    set("cwd"_name, as_str(repo_root));
    set("capture_output"_name, Py_True);
    set("encoding"_name, module.name("utf-8"_name));
    set("errors"_name, module.name("replace"_name));
    set("timeout"_name, timeout);
    const Ref hidden = call(module["get_subprocess_hidden_kwargs"_name]);
    unpack_keywords(run, keywords, hidden);
    return call_with(run, tuple_of(command), keywords);
}

}  // namespace git_utils::runner
