#include "runner/runner.hpp"

#include "runner/launch.hpp"

namespace git_utils::runner {
namespace {

// The result of a run that never came to an exit status of git's own.
Ref failed_launch(const char* message) {
    return Ref::steal(Py_BuildValue("(ssi)", "", message, 1));
}

bool is_failure(PyObject* code) {
    return compare(code, Ref::steal(PyLong_FromLong(0)).get(), Py_NE);
}

void log_failure(const Module& module, PyObject* args, PyObject* result) {
    const Ref debug = module.attribute(module["logger"_name].get(), "debug"_name);
    const Ref code = module.attribute(result, "returncode"_name);
    const Ref errors = module.attribute(result, "stderr"_name);
    call(debug.get(), text("git command failed: args=%s rc=%s stderr=%s").get(), args, code.get(),
         module.call_method(errors.get(), "strip"_name).get());
}

template <class... Values>
void warn(const Module& module, const char* message, Values... values) {
    const Ref warning = module.attribute(module["logger"_name].get(), "warning"_name);
    call(warning.get(), text(message).get(), values...);
}

Ref run(const Module& module, PyObject* repo_root, PyObject* args, PyObject* timeout) {
    const Ref result = launch(module, repo_root, args, timeout);
    if (is_failure(module.attribute(result.get(), "returncode"_name).get())) {
        log_failure(module, args, result.get());
    }
    const Ref output = module.attribute(result.get(), "stdout"_name);
    const Ref errors = module.attribute(result.get(), "stderr"_name);
    const Ref code = module.attribute(result.get(), "returncode"_name);
    return Ref::steal(PyTuple_Pack(3, output.get(), errors.get(), code.get()));
}

}  // namespace

Ref run_git_command(const Module& module, PyObject* repo_root, PyObject* args, PyObject* timeout) {
    try {
        return run(module, repo_root, args, timeout);
    } catch (const PythonError&) {
        HandledException error;
        const Ref expired =
            module.attribute(module["subprocess"_name].get(), "TimeoutExpired"_name);
        if (error.matches(expired.get())) {
            warn(module, "git command timed out after %ss: args=%s", timeout, args);
            return failed_launch("Command timed out");
        }
        if (error.matches(PyExc_FileNotFoundError)) {
            warn(module, "git executable not found while running args=%s", args);
            return failed_launch("git not found");
        }
        error.reraise();
    }
}

Ref _git_output(const Module& module, PyObject* repo_root, PyObject* args) {
    const Ref result = call(module["run_git_command"_name].get(), repo_root, args);
    const auto [output, errors, code] = unpack_three(result.get());
    if (!is_failure(code.get())) {
        return output;
    }
    const Ref error_type = module["GitError"_name];
    Ref message = module.call_method(errors.get(), "strip"_name);
    if (!is_true(message)) {
        message = Ref::steal(PyUnicode_FromFormat("git exited with code %S", code.get()));
    }
    raise(call(error_type.get(), message.get()));
}

}  // namespace git_utils::runner
