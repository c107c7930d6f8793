#include "declarations.hpp"
#include "runner/launch.hpp"

namespace git_utils {
namespace {

// The result of a run that git did not end itself.
Ref failed_launch(const char* message) { return tuple_of(text(""), text(message), integer(1)); }

void log_failure(const Module& module, Borrowed args, Borrowed result) {
    const Ref debug = module.attribute(module["logger"_name], "debug"_name);
    const Ref code = module.attribute(result, "returncode"_name);
    const Ref errors = module.attribute(result, "stderr"_name);
    call(debug, text("git command failed: args=%s rc=%s stderr=%s"), args, code,
         module.call_method(errors, "strip"_name));
}

template <Object... Values>
void warn(const Module& module, const char* message, const Values&... values) {
    const Ref warning = module.attribute(module["logger"_name], "warning"_name);
    call(warning, text(message), values...);
}

Ref run(const Module& module, Borrowed repo_root, Borrowed args, Borrowed timeout) {
    const Ref result = runner::launch(module, repo_root, args, timeout);
    if (differs(module.attribute(result, "returncode"_name), 0)) {
        log_failure(module, args, result);
    }
    const Ref output = module.attribute(result, "stdout"_name);
    const Ref errors = module.attribute(result, "stderr"_name);
    return tuple_of(output, errors, module.attribute(result, "returncode"_name));
}

}  // namespace

Ref run_git_command(const Module& module, Borrowed repo_root, Borrowed args, Borrowed timeout) {
    try {
        return run(module, repo_root, args, timeout);
    } catch (const PythonError&) {
        HandledException error;
        const Ref subprocess = module["subprocess"_name];
        if (error.matches(module.attribute(subprocess, "TimeoutExpired"_name))) {
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

Ref _git_output(const Module& module, Borrowed repo_root, Borrowed args) {
    const Ref result = call(module["run_git_command"_name], repo_root, args);
    const auto [output, errors, code] = unpack<3>(result);
    if (!differs(code, 0)) {
        return output;
    }
    const Ref error_type = module["GitError"_name];
    Ref message = module.call_method(errors, "strip"_name);
    if (!is_true(message)) {
        message = composed("git exited with code %S", code);
    }
    raise(call(error_type, message));
}

}  // namespace git_utils
