#include "natively.hpp"
#include "parsing/file_change_reader.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils::parsing {
namespace {

template <class Unit>
Ref read_log(const Module& module, Units<Unit> output) {
    Ref commits = empty_list();
    RecordFiller<CommitChanges> fill_commit(module);
    FileChangeReader file_changes(module);
    TokenStream<Unit> tokens(output);
    Units<Unit> token;
    while (tokens.next(token)) {
        std::int64_t stamp = 0;
        const Verdict verdict = read_commit_header(token, stamp);
        if (verdict == Verdict::no) {
            continue;  // ahead of the first commit
        }
        ChangeScanner<Unit> scanner(tokens.of_this_commit());
        const Ref files = file_changes.read(scanner);
        if (verdict == Verdict::undecided || !files) {
            return {};
        }
        tokens.continue_behind(scanner.behind());
        const Ref timestamp = integer(stamp);
        append(commits, fill_commit(CommitChanges{.timestamp = timestamp, .files = files}));
    }
    return commits;
}

}  // namespace

Ref commit_changes_natively(const Module& module, Borrowed output) {
    return natively<uses::commit_changes>(module, output,
                                          [&](auto units) { return read_log(module, units); });
}

}  // namespace git_utils::parsing
