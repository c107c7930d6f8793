// Questions about revisions, each answered by git's exit code or one line.
#include "declarations.hpp"

namespace git_utils {
namespace {

// Of a git result triple: the stripped stdout, or None if git failed or printed nothing
Ref printed_or_none(const ModuleState& module, Borrowed result) {
    const auto [output, errors, code] = unpack<3>(result);
    const Ref printed = module.call_method(output, "strip"_name);
    return is_equal({code, 0}) && is_true(printed) ? printed : none();
}

bool has_succeeded(Borrowed result) {
    const auto [output, errors, code] = unpack<3>(result);
    return is_equal({code, 0});
}

}  // namespace

Ref get_head_commit(const ModuleState& module, Borrowed repo_root, Borrowed short_) {
    Ref args = list_of({"rev-parse", "HEAD"});
    if (is_true(short_)) {
        args = list_of({"rev-parse", "--short", "HEAD"});
    }
    return printed_or_none(module, call({module["run_git_command"_name], repo_root, args}));
}

Ref get_default_branch(const ModuleState& module, Borrowed repo_root) {
    const auto [output, errors, code] =
        unpack<3>(call({module["run_git_command"_name], repo_root,
                        list_of({"symbolic-ref", "refs/remotes/origin/HEAD"})}));
    if (is_equal({code, 0})) {
        const Ref ref = module.call_method(output, "strip"_name);
        if (is_true(ref)) {
            return module.call_method(ref, "removeprefix"_name, "refs/remotes/origin/");
        }
    }
    for (const char* branch : {"main", "master"}) {
        if (has_succeeded(call({module["run_git_command"_name], repo_root,
                                list_of({"rev-parse", "--verify", branch})}))) {
            return text(branch);
        }
    }
    return text("main");
}

Ref branch_exists(const ModuleState& module, Borrowed repo_root, Borrowed branch) {
    if (has_succeeded(call({module["run_git_command"_name], repo_root,
                            list_of({"rev-parse", "--verify", branch})}))) {
        return boolean(true);
    }
    if (is_true(module.call_method(branch, "startswith"_name, "origin/"))) {
        return boolean(false);
    }
    return boolean(has_succeeded(call(
        {module["run_git_command"_name], repo_root,
         list_of({"rev-parse", "--verify", format_text("origin/%U", {characters_of(branch)})})})));
}

Ref resolve_commit(const ModuleState& module, Borrowed repo_root, Borrowed name) {
    if (!is_true(name) || is_true(module.call_method(name, "startswith"_name, "-"))) {
        return none();
    }
    const Ref args = list_of(
        {"rev-parse", "--verify", "--quiet", format_text("%U^{commit}", {characters_of(name)})});
    return printed_or_none(module, call({module["run_git_command"_name], repo_root, args}));
}

Ref count_commits(const ModuleState& module, Borrowed repo_root, Borrowed base, Borrowed head) {
    const Ref output =
        call({module["_git_output"_name], repo_root,
              list_of({"rev-list", "--count",
                       format_text("%U..%U", {characters_of(base), characters_of(head)})})});
    const Ref count = module.call_method(output, "strip"_name);
    return is_true(count) ? as_integer(count) : integer(0);
}

Ref commit_before(const ModuleState& module, Borrowed repo_root, Borrowed ref, Borrowed moment) {
    const Ref args =
        list_of({"rev-list", "-1",
                 format_text("--before=%U", {format(moment, text("%Y-%m-%d %H:%M:%S"))}), ref});
    const Ref output = call({module["_git_output"_name], repo_root, args});
    const Ref commit = module.call_method(output, "strip"_name);
    return is_true(commit) ? commit : none();
}

}  // namespace git_utils
