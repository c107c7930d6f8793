#include "commands/commands.hpp"

namespace git_utils::commands {
namespace {

void append(const Ref& list, const Ref& item) { check(PyList_Append(list.get(), item.get())); }

// f"{base}...{head}": what head has changed since it left base.
Ref since_merge_base(PyObject* base, PyObject* head) {
    const Ref base_text = format(base);
    const Ref head_text = format(head);
    return Ref::steal(PyUnicode_FromFormat("%U...%U", base_text.get(), head_text.get()));
}

// The command of diff_line_spans() without its paths.
Ref patch_command(const Module& module, PyObject* base, PyObject* head, PyObject* merge_base,
                  PyObject* diff_filter) {
    Ref command = list_of_texts({"-c", "core.quotepath=off", "--literal-pathspecs", "diff"});
    extend(command.get(), module["_PATCH_OPTIONS"_name].get());
    append(command,
           Ref::steal(PyUnicode_FromFormat("--diff-filter=%U", format(diff_filter).get())));
    if (is_true(merge_base)) {
        append(command, since_merge_base(base, head));
    } else {
        check(PyList_Append(command.get(), base));
        check(PyList_Append(command.get(), head));
    }
    return command;
}

// [*command, "--", *batch]
Ref with_paths(PyObject* command, PyObject* batch) {
    Ref whole = Ref::steal(PySequence_List(command));
    append(whole, text("--"));
    extend(whole.get(), batch);
    return whole;
}

}  // namespace

Ref diff_file_changes(const Module& module, PyObject* repo_root, PyObject* base, PyObject* head) {
    const Ref parse = module["parse_file_changes"_name];
    const Ref git_output = module["_git_output"_name];
    const Ref args = list_of_texts({"diff", "--raw", "--numstat", "-M", "-z", "--no-textconv"});
    append(args, since_merge_base(base, head));
    return call(parse.get(), call(git_output.get(), repo_root, args.get()).get());
}

Ref log_commit_changes(const Module& module, PyObject* repo_root, PyObject* since, PyObject* ref,
                       PyObject* max_commits) {
    const Ref moment = format(since, text("%Y-%m-%d %H:%M:%S").get());
    const Ref most = format(max_commits);
    const Ref args = list_of_texts({"log"});
    append(args, Ref::steal(PyUnicode_FromFormat("--since=%U", moment.get())));
    append(args, Ref::steal(PyUnicode_FromFormat("--max-count=%U", most.get())));
    extend(args.get(), list_of_texts({"--no-show-signature", "--format=%x1e%ct", "--raw",
                                      "--numstat", "-M", "-z"})
                           .get());
    if (ref != Py_None) {
        check(PyList_Append(args.get(), ref));
    }
    const Ref parse = module["parse_commit_changes"_name];
    const Ref output = call(module["_git_output"_name].get(), repo_root, args.get());
    return call(parse.get(), output.get());
}

Ref diff_line_spans(const Module& module, PyObject* repo_root, PyObject* base, PyObject* head,
                    PyObject* merge_base, PyObject* paths, PyObject* diff_filter) {
    Ref spans = Ref::steal(PyDict_New());
    const Ref command = patch_command(module, base, head, merge_base, diff_filter);
    const Ref batches = is_true(paths) ? call(module["_path_batches"_name].get(), paths)
                                       : list_of({Ref::steal(PyList_New(0)).get()});
    const Ref iterator = Ref::steal(PyObject_GetIter(batches.get()));
    while (const Ref batch = next(iterator.get())) {
        const Ref git_output = module["_git_output"_name];
        const Ref args = is_true(batch) ? with_paths(command.get(), batch.get()) : command;
        const Ref patch = call(git_output.get(), repo_root, args.get());
        const Ref found = call(module["parse_line_spans"_name].get(), patch.get());
        module.call_method(spans.get(), "update"_name, found.get());
    }
    return spans;
}

}  // namespace git_utils::commands
