// Reading git's log stream.
#include "parsing/fast_path.hpp"
#include "parsing/file_change_reader.hpp"

namespace git_utils {
namespace {

// The fast path of parse_commit_changes().
template <class Unit>
Ref read_log(const ModuleState& module, scan::Units<Unit> output) {
    Ref commits = empty_list();
    RecordFiller<CommitChanges> fill_commit(module);
    FileChangeReader file_changes(module);
    scan::TokenStream<Unit> tokens(output);
    scan::Units<Unit> token;
    while (tokens.next(token)) {
        std::int64_t seconds = 0;
        const scan::Verdict verdict = scan::read_commit_header(token, seconds);
        if (verdict == scan::Verdict::no) {
            continue;  // a token before the first commit
        }
        scan::ChangeScanner<Unit> scanner(tokens.of_this_commit());
        const Ref files = file_changes.read(scanner, PyTuple_New);
        if (verdict == scan::Verdict::declined || !files) {
            return {};
        }
        tokens.continue_after(scanner.rest());
        const Ref timestamp = integer(seconds);
        append(commits, fill_commit(CommitChanges{.timestamp = timestamp, .files = files}));
    }
    return commits;
}

// commits.append(CommitChanges(int(timestamp), tuple(_file_changes(body))))
void append_commit(const ModuleState& module, Borrowed commits, Borrowed timestamp, Borrowed body) {
    const Ref type = module["CommitChanges"_name];
    const Ref seconds = as_integer(timestamp);
    const Ref changes = call({module["_file_changes"_name], body});
    const Ref files = Ref::steal(PySequence_Tuple(changes.get()));
    append(commits, construct(module, type, CommitChanges{.timestamp = seconds, .files = files}));
}

}  // namespace

Ref parse_commit_changes(const ModuleState& module, Borrowed output) {
    if (Ref commits = fast_path<guards::commit_changes>(
            module, output, [&](auto characters) { return read_log(module, characters); })) {
        return commits;
    }
    Ref commits = empty_list();
    Ref timestamp = none();
    Ref body;
    const Ref tokens = iterate(module.call_method(output, "split"_name, scan::separator));
    while (const Ref token = next(tokens)) {
        const Ref header = module.call_method(token, "lstrip"_name, "\n");
        if (is_true(call(
                {module.attribute(header, "startswith"_name), module["_COMMIT_START"_name]}))) {
            if (!is(timestamp, Py_None)) {
                append_commit(module, commits, timestamp, body);
            }
            timestamp = module.call_method(slice(header, {1, Py_None}), "strip"_name);
            body = empty_list();
        } else if (!is(timestamp, Py_None)) {
            append(body, token);
        }
    }
    if (!is(timestamp, Py_None)) {
        append_commit(module, commits, timestamp, body);
    }
    return commits;
}

}  // namespace git_utils
