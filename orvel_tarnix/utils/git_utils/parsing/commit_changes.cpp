#include "parsing/file_changes.hpp"
#include "parsing/parsing.hpp"
#include "text/units.hpp"

namespace git_utils::parsing {
namespace {

bool commits_are_own(const Module& module) {
    return module.is_own("_COMMIT_START"_name) && module.is_own("CommitChanges"_name) &&
           file_changes_are_own(module);
}

// Reads a header's time into `stamp`; a token that is no header belongs to no commit.
template <class Unit>
Verdict read_header(Units<Unit> token, std::int64_t& stamp) {
    token = without_leading_feeds(token);
    if (token.empty() || token.front() != static_cast<Unit>(commit_start)) {
        return Verdict::no;
    }
    token = token.subspan(1);
    // Blanks around the number and whatever else int() may take are for the interpreter.
    const bool is_plain = read_number(token, stamp) == Verdict::yes && token.empty();
    return is_plain ? Verdict::yes : Verdict::undecided;
}

template <class Unit>
Ref read_log(const Module& module, Units<Unit> output) {
    Ref commits = Ref::steal(PyList_New(0));
    const Ref commit_changes = module["CommitChanges"_name];
    RecordFiller fill_commit(module, commit_changes.get(), commit_changes_fields);
    FileChangeReader file_changes(module);
    TokenStream<Unit> tokens(output);
    Units<Unit> token;
    while (tokens.next(token)) {
        std::int64_t stamp = 0;
        const Verdict verdict = read_header(token, stamp);
        if (verdict == Verdict::no) {
            continue;
        }
        ChangeScanner<Unit> scanner(tokens.of_this_commit());
        const Ref files = file_changes.read(scanner);
        if (verdict == Verdict::undecided || !files) {
            return {};
        }
        tokens.continue_behind(scanner.behind());
        const Ref timestamp = Ref::steal(PyLong_FromLongLong(stamp));
        const Ref commit = fill_commit(timestamp.get(), files.get());
        check(PyList_Append(commits.get(), commit.get()));
    }
    return commits;
}

// commits.append(CommitChanges(int(stamp), tuple(_file_changes(body))))
void append_commit(const Module& module, const Ref& commits, const Ref& stamp, const Ref& body) {
    const Ref type = module["CommitChanges"_name];
    const Ref timestamp = Ref::steal(PyNumber_Long(stamp.get()));
    const Ref changes = call(module["_file_changes"_name].get(), body.get());
    const Ref files = Ref::steal(PySequence_Tuple(changes.get()));
    const Ref commit = construct(module, "CommitChanges"_name, type.get(), commit_changes_fields,
                                 timestamp.get(), files.get());
    check(PyList_Append(commits.get(), commit.get()));
}

}  // namespace

Ref parse_commit_changes(const Module& module, PyObject* output) {
    if (PyUnicode_CheckExact(output) && commits_are_own(module)) {
        Ref commits = with_text(output, [&](auto units) { return read_log(module, units); });
        if (commits) {
            return commits;
        }
    }
    Ref commits = Ref::steal(PyList_New(0));
    Ref stamp;
    Ref body;
    const Ref separator = Ref::steal(PyUnicode_FromStringAndSize("\0", 1));
    const Ref tokens = module.call_method(output, "split"_name, separator.get());
    const Ref iterator = Ref::steal(PyObject_GetIter(tokens.get()));
    while (const Ref token = next(iterator.get())) {
        const Ref header = module.call_method(token.get(), "lstrip"_name, text("\n").get());
        const Ref start = module["_COMMIT_START"_name];
        if (is_true(module.call_method(header.get(), "startswith"_name, start.get()))) {
            if (stamp) {
                append_commit(module, commits, stamp, body);
            }
            stamp = module.call_method(slice(header.get(), 1, to_the_end).get(), "strip"_name);
            body = Ref::steal(PyList_New(0));
        } else if (stamp) {
            check(PyList_Append(body.get(), token.get()));
        }
    }
    if (stamp) {
        append_commit(module, commits, stamp, body);
    }
    return commits;
}

}  // namespace git_utils::parsing
