// Making the records of the files that a scanner finds; the fast paths of a diff's files and of a
// log share it.
#pragma once

#include "capi/characters.hpp"
#include "capi/records.hpp"
#include "declarations.hpp"
#include "scan/change_scanner.hpp"

namespace git_utils {

// Reads one diff after another: a log has one for each commit.
class FileChangeReader {
public:
    explicit FileChangeReader(const ModuleState& module)
        : module_(module), fill_(module), statuses_(module["_STATUS_BY_LETTER"_name]) {}

    // The FileChange of each file that the scanner finds, in the list or tuple that `new_sequence`
    // creates; nothing if the scanner declines.
    template <class Unit>
    Ref read(scan::ChangeScanner<Unit>& scanner, PyObject* (*new_sequence)(Py_ssize_t)) {
        // Without the GIL another thread may have rebound the name since the guards were checked.
        if (!PyDict_CheckExact(statuses_.get())) {
            return {};
        }
        const auto count = static_cast<Py_ssize_t>(scanner.count());
        const Ref changes = Ref::steal(new_sequence(count));
        PyObject** items = PySequence_Fast_ITEMS(changes.get());
        scan::ScannedFile<Unit> file;
        for (Py_ssize_t index = 0; index < count; ++index) {
            if (scanner.next(file) != scan::Verdict::yes) {
                return {};
            }
            items[index] = record_of(file).release();
        }
        return scanner.next(file) == scan::Verdict::no ? changes : Ref();
    }

private:
    template <class Unit>
    Ref record_of(const scan::ScannedFile<Unit>& file) {
        const Ref path = to_str(file.path);
        const Ref additions = integer(file.additions);
        const Ref deletions = integer(file.deletions);
        const Ref old_path = scan::names_two_paths(file.letter) ? to_str(file.old_path) : none();
        return fill_(FileChange{.path = path,
                                .status = status_of(file.letter),
                                .additions = additions,
                                .deletions = deletions,
                                .old_path = old_path});
    }

    // _STATUS_BY_LETTER.get(letter, "modified")
    Borrowed status_of(char letter) {
        if (!status_ || letter != letter_) {
            const Ref status = find_item(statuses_, text({&letter, letter == 0 ? 0U : 1U}));
            status_ = status ? status : Ref::borrow(module_.name("modified"_name));
            letter_ = letter;
        }
        return status_;
    }

    const ModuleState& module_;
    RecordFiller<FileChange> fill_;
    Ref statuses_;
    // The letter of the last file, which most files share, and its status.
    char letter_ = 0;
    Ref status_;
};

}  // namespace git_utils
