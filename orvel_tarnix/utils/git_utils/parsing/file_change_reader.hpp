// Making the records of the files that a scanner finds.
#pragma once

#include "capi/inline_values.hpp"
#include "declarations.hpp"
#include "parsing/native/change_scanner.hpp"

namespace git_utils::parsing {

// Reads one diff after another: a log has one for each commit.
class FileChangeReader {
public:
    explicit FileChangeReader(const Module& module);

    // (FileChange(...), ...) of the files that the scanner finds; nothing when it declines.
    template <class Unit>
    Ref read(ChangeScanner<Unit>& scanner);

private:
    // _STATUS_BY_LETTER.get(letter, "modified")
    Borrowed status_of(char letter);

    const Module& module_;
    RecordFiller<FileChange> fill_;
    Ref statuses_;
    // The letter of the last file, which most files share, and its status.
    char letter_ = 0;
    Ref status_;
};

}  // namespace git_utils::parsing
