#include "declarations.hpp"

namespace git_utils {
namespace {

// What git printed, and its exit code.
std::array<Ref, 2> ask_git(Borrowed run_git_command, Borrowed repo_root, Borrowed args) {
    const auto [output, errors, code] = unpack<3>(call(run_git_command, repo_root, args));
    return {output, code};
}

// What git printed without the white space around it, or None when it failed or printed none.
Ref printed_or_none(const Module& module, Borrowed repo_root, Borrowed args) {
    const auto [output, code] = ask_git(module["run_git_command"_name], repo_root, args);
    const Ref printed = module.call_method(output, "strip"_name);
    return equals(code, 0) && is_true(printed) ? printed : none();
}

bool verifies(Borrowed run_git_command, Borrowed repo_root, Borrowed revision) {
    const Ref args = list_of({"rev-parse", "--verify"});
    append(args, revision);
    const auto [output, code] = ask_git(run_git_command, repo_root, args);
    return equals(code, 0);
}

}  // namespace

Ref get_head_commit(const Module& module, Borrowed repo_root, Borrowed short_) {
    const Ref args = is_true(short_) ? list_of({"rev-parse", "--short", "HEAD"})
                                     : list_of({"rev-parse", "HEAD"});
    return printed_or_none(module, repo_root, args);
}

Ref get_default_branch(const Module& module, Borrowed repo_root) {
    const Ref args = list_of({"symbolic-ref", "refs/remotes/origin/HEAD"});
    const auto [output, code] = ask_git(module["run_git_command"_name], repo_root, args);
    if (equals(code, 0)) {
        const Ref ref = module.call_method(output, "strip"_name);
        if (is_true(ref)) {
            return module.call_method(ref, "removeprefix"_name, text("refs/remotes/origin/"));
        }
    }
    for (const char* name : {"main", "master"}) {
        Ref branch = text(name);
        if (verifies(module["run_git_command"_name], repo_root, branch)) {
            return branch;
        }
    }
    return text("main");
}

Ref branch_exists(const Module& module, Borrowed repo_root, Borrowed branch) {
    if (verifies(module["run_git_command"_name], repo_root, branch)) {
        return boolean(true);
    }
    if (is_true(module.call_method(branch, "startswith"_name, text("origin/")))) {
        return boolean(false);
    }
    const Ref run_git_command = module["run_git_command"_name];
    const Ref tracked = composed("origin/%U", characters_of(branch));
    return boolean(verifies(run_git_command, repo_root, tracked));
}

Ref resolve_commit(const Module& module, Borrowed repo_root, Borrowed name) {
    if (!is_true(name) || is_true(module.call_method(name, "startswith"_name, text("-")))) {
        return none();
    }
    const Ref args = list_of({"rev-parse", "--verify", "--quiet"});
    append(args, composed("%U^{commit}", characters_of(name)));
    return printed_or_none(module, repo_root, args);
}

Ref count_commits(const Module& module, Borrowed repo_root, Borrowed base, Borrowed head) {
    const Ref git_output = module["_git_output"_name];
    const Ref args = list_of({"rev-list", "--count"});
    const Ref base_text = characters_of(base);
    append(args, composed("%U..%U", base_text, characters_of(head)));
    const Ref output = call(git_output, repo_root, args);
    const Ref count = module.call_method(output, "strip"_name);
    return is_true(count) ? as_integer(count) : integer(0);
}

Ref commit_before(const Module& module, Borrowed repo_root, Borrowed ref, Borrowed moment) {
    const Ref args = list_of({"rev-list", "-1"});
    append(args, composed("--before=%U", format(moment, text("%Y-%m-%d %H:%M:%S"))));
    append(args, ref);
    const Ref output = call(module["_git_output"_name], repo_root, args);
    const Ref commit = module.call_method(output, "strip"_name);
    return is_true(commit) ? commit : none();
}

}  // namespace git_utils
