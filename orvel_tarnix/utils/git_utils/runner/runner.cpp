// Running git.
#include "declarations.hpp"

namespace git_utils {
namespace {

// `**extra` reads the storage of a dict, and of a subclass unless it overrides __iter__; any other
// mapping goes through keys() and [].
Ref items_source(Borrowed extra) {
    const bool is_read_directly =
        PyDict_Check(extra.get()) && Py_TYPE(extra.get())->tp_iter == PyDict_Type.tp_iter;
    return is_read_directly ? Ref::steal(PyDict_Copy(extra.get())) : Ref::borrow(extra.get());
}

// keywords.update(extra), except that a repeated key raises KeyError, as DICT_MERGE does
void merge_new_keys(Borrowed keywords, Borrowed extra) {
    const Ref source = items_source(extra);
    const Ref keys = iterate(Ref::steal(PyMapping_Keys(source.get())));
    while (const Ref key = next(keys)) {
        if (check(PyDict_Contains(keywords.get(), key.get())) != 0) {
            raise(call({PyExc_KeyError, key}));
        }
        set_item(keywords, key, item({source, key}));
    }
}

// `**extra` of a call. Like the interpreter, this judges by the type of the exception alone: an
// AttributeError means that the object is not a mapping, a KeyError that a keyword is repeated,
// even if a method of the mapping raised it for another reason.
void unpack_keywords(Borrowed callable, Borrowed keywords, Borrowed extra) {
    try {
        merge_new_keys(keywords, extra);
    } catch (const PythonError&) {
        const Ref raised = Ref::maybe(PyErr_GetRaisedException());
        const bool is_not_mapping =
            PyErr_GivenExceptionMatches(raised.get(), PyExc_AttributeError) != 0;
        if (is_not_mapping || PyErr_GivenExceptionMatches(raised.get(), PyExc_KeyError) != 0) {
            const Ref function = Ref::steal(_PyObject_FunctionStr(callable.get()));
            if (is_not_mapping) {
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

// subprocess.run(["git"] + args, ...) in the repository root, with the host's extra keywords
Ref launch(const ModuleState& module, Borrowed repo_root, Borrowed args, Borrowed timeout) {
    const Ref run = module.attribute(module["subprocess"_name], "run"_name);
    const Ref command = add({list_of({"git"}), args});
    const Ref keywords = empty_dict();
    const auto set = [&](Name keyword, Borrowed value) {
        set_item(keywords, module.name(keyword), value);
    };
    set("cwd"_name, as_str(repo_root));
    set("capture_output"_name, Py_True);
    set("encoding"_name, module.name("utf-8"_name));
    set("errors"_name, module.name("replace"_name));
    set("timeout"_name, timeout);
    unpack_keywords(run, keywords, call({module["get_subprocess_hidden_kwargs"_name]}));
    return call_unpacked(run, tuple_of({command}), keywords);
}

Ref run(const ModuleState& module, Borrowed repo_root, Borrowed args, Borrowed timeout) {
    const Ref result = launch(module, repo_root, args, timeout);
    if (is_unequal({module.attribute(result, "returncode"_name), 0})) {
        call({module.attribute(module["logger"_name], "debug"_name),
              "git command failed: args=%s rc=%s stderr=%s", args,
              module.attribute(result, "returncode"_name),
              module.call_method(module.attribute(result, "stderr"_name), "strip"_name)});
    }
    return tuple_of({module.attribute(result, "stdout"_name),
                     module.attribute(result, "stderr"_name),
                     module.attribute(result, "returncode"_name)});
}

Ref logger_warning(const ModuleState& module) {
    return module.attribute(module["logger"_name], "warning"_name);
}

}  // namespace

Ref run_git_command(const ModuleState& module, Borrowed repo_root, Borrowed args,
                    Borrowed timeout) {
    try {
        return run(module, repo_root, args, timeout);
    } catch (const PythonError&) {
        HandledException error;
        if (error.matches(module.attribute(module["subprocess"_name], "TimeoutExpired"_name))) {
            call({logger_warning(module), "git command timed out after %ss: args=%s", timeout,
                  args});
            return tuple_of({"", "Command timed out", 1});
        }
        if (error.matches(PyExc_FileNotFoundError)) {
            call({logger_warning(module), "git executable not found while running args=%s", args});
            return tuple_of({"", "git not found", 1});
        }
        error.reraise();
    }
}

Ref _git_output(const ModuleState& module, Borrowed repo_root, Borrowed args) {
    const auto [output, errors, code] =
        unpack<3>(call({module["run_git_command"_name], repo_root, args}));
    if (!is_unequal({code, 0})) {
        return output;
    }
    const Ref error_type = module["GitError"_name];
    Ref message = module.call_method(errors, "strip"_name);
    if (!is_true(message)) {
        message = format_text("git exited with code %S", {code});
    }
    raise(call({error_type, message}));
}

}  // namespace git_utils
