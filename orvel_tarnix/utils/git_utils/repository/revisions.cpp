#include "repository/repository.hpp"

namespace git_utils::repository {
namespace {

struct Answer {
    Ref output;
    bool succeeded;
};

Answer ask_git(const Module& module, PyObject* repo_root, PyObject* args) {
    const Ref result = call(module["run_git_command"_name].get(), repo_root, args);
    auto [output, errors, code] = unpack_three(result.get());
    return {std::move(output), equals(code.get(), 0)};
}

// What git printed without the white space around it, or None when it failed or printed none.
Ref printed_or_none(const Module& module, PyObject* repo_root, PyObject* args) {
    const Answer answer = ask_git(module, repo_root, args);
    const Ref printed = module.call_method(answer.output.get(), "strip"_name);
    return answer.succeeded && is_true(printed) ? printed : Ref::borrow(Py_None);
}

bool verifies(const Module& module, PyObject* repo_root, PyObject* revision) {
    const Ref args = list_of_texts({"rev-parse", "--verify"});
    check(PyList_Append(args.get(), revision));
    return ask_git(module, repo_root, args.get()).succeeded;
}

}  // namespace

Ref get_head_commit(const Module& module, PyObject* repo_root, PyObject* is_short) {
    const Ref args = is_true(is_short) ? list_of_texts({"rev-parse", "--short", "HEAD"})
                                       : list_of_texts({"rev-parse", "HEAD"});
    return printed_or_none(module, repo_root, args.get());
}

Ref get_default_branch(const Module& module, PyObject* repo_root) {
    const Ref args = list_of_texts({"symbolic-ref", "refs/remotes/origin/HEAD"});
    const Answer remote_head = ask_git(module, repo_root, args.get());
    if (remote_head.succeeded) {
        const Ref ref = module.call_method(remote_head.output.get(), "strip"_name);
        if (is_true(ref)) {
            return module.call_method(ref.get(), "removeprefix"_name,
                                      text("refs/remotes/origin/").get());
        }
    }
    for (const char* name : {"main", "master"}) {
        Ref branch = text(name);
        if (verifies(module, repo_root, branch.get())) {
            return branch;
        }
    }
    return text("main");
}

Ref branch_exists(const Module& module, PyObject* repo_root, PyObject* branch) {
    if (verifies(module, repo_root, branch)) {
        return Ref::borrow(Py_True);
    }
    const Ref remote = text("origin/");
    if (is_true(module.call_method(branch, "startswith"_name, remote.get()))) {
        return Ref::borrow(Py_False);
    }
    const Ref tracked =
        Ref::steal(PyUnicode_FromFormat("%U%U", remote.get(), format(branch).get()));
    return Ref::borrow(verifies(module, repo_root, tracked.get()) ? Py_True : Py_False);
}

Ref resolve_commit(const Module& module, PyObject* repo_root, PyObject* name) {
    if (!is_true(name) || is_true(module.call_method(name, "startswith"_name, text("-").get()))) {
        return Ref::borrow(Py_None);
    }
    const Ref args = list_of_texts({"rev-parse", "--verify", "--quiet"});
    const Ref revision = Ref::steal(PyUnicode_FromFormat("%U^{commit}", format(name).get()));
    check(PyList_Append(args.get(), revision.get()));
    return printed_or_none(module, repo_root, args.get());
}

Ref count_commits(const Module& module, PyObject* repo_root, PyObject* base, PyObject* head) {
    const Ref git_output = module["_git_output"_name];
    const Ref args = list_of_texts({"rev-list", "--count"});
    const Ref range =
        Ref::steal(PyUnicode_FromFormat("%U..%U", format(base).get(), format(head).get()));
    check(PyList_Append(args.get(), range.get()));
    const Ref output = call(git_output.get(), repo_root, args.get());
    const Ref count = module.call_method(output.get(), "strip"_name);
    return is_true(count) ? Ref::steal(PyNumber_Long(count.get())) : Ref::steal(PyLong_FromLong(0));
}

Ref commit_before(const Module& module, PyObject* repo_root, PyObject* ref, PyObject* moment) {
    const Ref written = format(moment, text("%Y-%m-%d %H:%M:%S").get());
    const Ref before = Ref::steal(PyUnicode_FromFormat("--before=%U", written.get()));
    const Ref args = list_of({text("rev-list").get(), text("-1").get(), before.get(), ref});
    const Ref output = call(module["_git_output"_name].get(), repo_root, args.get());
    const Ref commit = module.call_method(output.get(), "strip"_name);
    return is_true(commit) ? commit : Ref::borrow(Py_None);
}

}  // namespace git_utils::repository
