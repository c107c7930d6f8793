#include "natively.hpp"
#include "parsing/file_change_reader.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils::parsing {

FileChangeReader::FileChangeReader(const Module& module)
    : module_(module), fill_(module), statuses_(module["_STATUS_BY_LETTER"_name]) {}

Borrowed FileChangeReader::status_of(char letter) {
    if (!status_ || letter != letter_) {
        const Ref key = letter == 0 ? text("") : text({&letter, 1});
        const Ref status = find_item(statuses_, key);
        status_ = status ? status : Ref::borrow(module_.name("modified"_name));
        letter_ = letter;
    }
    return status_;
}

template <class Unit>
Ref FileChangeReader::read(ChangeScanner<Unit>& scanner) {
    // Without the GIL another thread may have put something else there by now.
    if (!PyDict_CheckExact(statuses_.get())) {
        return {};
    }
    const auto count = static_cast<Py_ssize_t>(scanner.count());
    const Ref changes = Ref::steal(PyTuple_New(count));
    ScannedFile<Unit> file;
    for (Py_ssize_t index = 0; index < count; ++index) {
        if (scanner.next(file) != Verdict::yes) {
            return {};
        }
        const Ref path = to_str(file.path);
        const Ref additions = integer(file.additions);
        const Ref deletions = integer(file.deletions);
        const Ref old_path = names_two_paths(file.letter) ? to_str(file.old_path) : none();
        Ref change = fill_(FileChange{.path = path,
                                      .status = status_of(file.letter),
                                      .additions = additions,
                                      .deletions = deletions,
                                      .old_path = old_path});
        PyTuple_SET_ITEM(changes.get(), index, change.release());
    }
    return scanner.next(file) == Verdict::no ? changes : Ref();
}

template Ref FileChangeReader::read(ChangeScanner<Py_UCS1>&);
template Ref FileChangeReader::read(ChangeScanner<Py_UCS2>&);
template Ref FileChangeReader::read(ChangeScanner<Py_UCS4>&);

Ref file_changes_natively(const Module& module, Borrowed output) {
    const Ref changes = natively<uses::file_changes>(module, output, [&](auto units) {
        ChangeScanner scanner{TokenStream(units)};
        return FileChangeReader(module).read(scanner);
    });
    return changes ? Ref::steal(PySequence_List(changes.get())) : Ref();
}

Ref line_count_natively(const Module& module, Borrowed field) {
    return natively<uses::nothing>(module, field, [](auto units) {
        std::int64_t lines = 0;
        return read_count(units, lines) ? integer(lines) : Ref();
    });
}

}  // namespace git_utils::parsing
