// The native way of reading file changes, shared by the diff and the log stream.
#pragma once

#include "capi/module.hpp"
#include "parsing/change_scanner.hpp"
#include "parsing/records.hpp"

namespace git_utils::parsing {

// Whether nothing that reading file changes uses has been rebound or replaced.
bool file_changes_are_own(const Module& module);

// Makes the records of one stream after another.
class FileChangeReader {
public:
    explicit FileChangeReader(const Module& module);

    // (FileChange(...), ...) of the files that the scanner finds; nothing when it declines.
    template <class Unit>
    Ref read(ChangeScanner<Unit>& scanner);

private:
    // _STATUS_BY_LETTER.get(letter, "modified")
    PyObject* status_of(char letter);

    const Module& module_;
    RecordFiller<file_change_fields.size()> fill_;
    Ref statuses_;
    char letter_ = 0;  // that of the file before, which most files share,
    Ref status_;       // and what it means
};

}  // namespace git_utils::parsing
