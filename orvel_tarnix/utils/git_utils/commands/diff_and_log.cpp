// Diffs and logs: the commands whose output the parsers read.
#include "declarations.hpp"

namespace git_utils {
namespace {

// f"{base}...{head}": what head has changed since it left base
Ref since_merge_base(Borrowed base, Borrowed head) {
    return format_text("%U...%U", {characters_of(base), characters_of(head)});
}

// The command of diff_line_spans() without its paths
Ref patch_command(const ModuleState& module, Borrowed base, Borrowed head, Borrowed merge_base,
                  Borrowed diff_filter) {
    Ref command = list_of({"-c", "core.quotepath=off", "--literal-pathspecs", "diff"});
    extend(command, module["_PATCH_OPTIONS"_name]);
    append(command, format_text("--diff-filter=%U", {characters_of(diff_filter)}));
    if (is_true(merge_base)) {
        append(command, since_merge_base(base, head));
    } else {
        append(command, base);
        append(command, head);
    }
    return command;
}

// [*command, "--", *batch]
Ref with_paths(Borrowed command, Borrowed batch) {
    Ref whole = Ref::steal(PySequence_List(command.get()));
    append(whole, text("--"));
    extend(whole, batch);
    return whole;
}

}  // namespace

Ref diff_file_changes(const ModuleState& module, Borrowed repo_root, Borrowed base, Borrowed head) {
    return call({module["parse_file_changes"_name],
                 call({module["_git_output"_name], repo_root,
                       list_of({"diff", "--raw", "--numstat", "-M", "-z", "--no-textconv",
                                since_merge_base(base, head)})})});
}

Ref log_commit_changes(const ModuleState& module, Borrowed repo_root, Borrowed since, Borrowed ref,
                       Borrowed max_commits) {
    const Ref args =
        list_of({"log", format_text("--since=%U", {format(since, text("%Y-%m-%d %H:%M:%S"))}),
                 format_text("--max-count=%U", {format(max_commits)}), "--no-show-signature",
                 "--format=%x1e%ct", "--raw", "--numstat", "-M", "-z"});
    if (!is(ref, Py_None)) {
        append(args, ref);
    }
    return call(
        {module["parse_commit_changes"_name], call({module["_git_output"_name], repo_root, args})});
}

Ref diff_line_spans(const ModuleState& module, Borrowed repo_root, Borrowed base, Borrowed head,
                    Borrowed merge_base, Borrowed paths, Borrowed diff_filter) {
    Ref spans = empty_dict();
    const Ref command = patch_command(module, base, head, merge_base, diff_filter);
    Ref batches = list_of({empty_list()});
    if (is_true(paths)) {
        batches = call({module["_path_batches"_name], paths});
    }
    const Ref iterator = iterate(batches);
    while (const Ref batch = next(iterator)) {
        const Ref patch = call({module["_git_output"_name], repo_root,
                                is_true(batch) ? with_paths(command, batch) : command});
        const Ref found = call({module["parse_line_spans"_name], patch});
        module.call_method(spans, "update"_name, found);
    }
    return spans;
}

Ref _path_batches(const ModuleState& module, Borrowed paths) {
    Ref batch = empty_list();
    Ref batches = list_of({batch});
    Ref characters = integer(0);
    const auto longer_by = [&](Borrowed path) {
        return add({add({characters, Ref::steal(PyLong_FromSsize_t(length(path)))}), 1});
    };
    const auto is_too_long = [&](Borrowed path) {
        return is_greater({longer_by(path), module["_MAX_PATHSPEC_CHARS"_name]});
    };
    const Ref iterator = iterate(paths);
    while (const Ref path = next(iterator)) {
        if (PyList_GET_SIZE(batch.get()) > 0 && is_too_long(path)) {
            batch = empty_list();
            append(batches, batch);
            characters = integer(0);
        }
        append(batch, path);
        characters = longer_by(path);
    }
    return batches;
}

}  // namespace git_utils
