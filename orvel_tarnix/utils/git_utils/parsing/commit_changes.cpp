// Reading git's log stream: what the Python statements do.
#include "capi/records.hpp"
#include "declarations.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils {
namespace {

// commits.append(CommitChanges(int(stamp), tuple(_file_changes(body))))
void append_commit(const Module& module, Borrowed commits, Borrowed stamp, Borrowed body) {
    const Ref type = module["CommitChanges"_name];
    const Ref timestamp = as_integer(stamp);
    const Ref changes = call(module["_file_changes"_name], body);
    const Ref files = Ref::steal(PySequence_Tuple(changes.get()));
    append(commits, construct(module, type, CommitChanges{.timestamp = timestamp, .files = files}));
}

}  // namespace

Ref parse_commit_changes(const Module& module, Borrowed output) {
    if (Ref commits = parsing::commit_changes_natively(module, output)) {
        return commits;
    }
    Ref commits = empty_list();
    Ref stamp = none();
    Ref body;
    const Ref tokens = iterate(module.call_method(output, "split"_name, text({"\0", 1})));
    while (const Ref token = next(tokens)) {
        const Ref header = module.call_method(token, "lstrip"_name, text("\n"));
        const Ref starts_with = module.attribute(header, "startswith"_name);
        if (is_true(call(starts_with, module["_COMMIT_START"_name]))) {
            if (!is(stamp, Py_None)) {
                append_commit(module, commits, stamp, body);
            }
            stamp = module.call_method(slice_from(header, 1), "strip"_name);
            body = empty_list();
        } else if (!is(stamp, Py_None)) {
            append(body, token);
        }
    }
    if (!is(stamp, Py_None)) {
        append_commit(module, commits, stamp, body);
    }
    return commits;
}

}  // namespace git_utils
