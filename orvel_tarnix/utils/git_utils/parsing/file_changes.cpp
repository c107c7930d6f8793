#include "parsing/file_changes.hpp"

#include "parsing/parsing.hpp"
#include "text/units.hpp"

namespace git_utils::parsing {
namespace {

// The general way: the two maps, and one cursor over the tokens.
class StreamReading {
public:
    StreamReading(const Module& module, PyObject* tokens)
        : module_(module),
          cursor_(Ref::steal(PyObject_GetIter(tokens))),
          statuses_(Ref::steal(PyDict_New())),
          counts_(Ref::steal(PyDict_New())) {}

    void read() {
        while (const Ref token = next(cursor_.get())) {
            const Ref record = module_.call_method(token.get(), "lstrip"_name, text("\n").get());
            if (is_true(module_.call_method(record.get(), "startswith"_name, text(":").get()))) {
                read_raw(record.get());
            } else {
                read_numstat(record.get());
            }
        }
    }

    [[nodiscard]] Ref changes() const {
        Ref changes = Ref::steal(PyList_New(0));
        const Ref zero = Ref::steal(PyLong_FromLong(0));
        const Ref uncounted = Ref::steal(PyTuple_Pack(2, zero.get(), zero.get()));
        PyObject* path = nullptr;
        PyObject* entry = nullptr;
        for (Py_ssize_t i = 0; PyDict_Next(statuses_.get(), &i, &path, &entry);) {
            PyObject* found = PyDict_GetItemWithError(counts_.get(), path);
            check(found == nullptr && PyErr_Occurred() != nullptr ? -1 : 0);
            PyObject* counts = found == nullptr ? uncounted.get() : found;
            const Ref type = module_["FileChange"_name];
            const Ref change =
                construct(module_, "FileChange"_name, type.get(), file_change_fields, path,
                          PyTuple_GET_ITEM(entry, 0), PyTuple_GET_ITEM(counts, 0),
                          PyTuple_GET_ITEM(counts, 1), PyTuple_GET_ITEM(entry, 1));
            check(PyList_Append(changes.get(), change.get()));
        }
        return changes;
    }

private:
    // next(cursor, "")
    Ref next_path() const {
        const Ref token = next(cursor_.get());
        return token ? token : text("");
    }

    void read_raw(PyObject* record) {
        const Ref parts = module_.call_method(record, "rpartition"_name, text(" ").get());
        const Ref letter = slice(item(parts.get(), 2).get(), 0, 1);
        const Ref two_path_letters = module_["_TWO_PATH_LETTERS"_name];
        const bool two_paths =
            check(PySequence_Contains(two_path_letters.get(), letter.get())) != 0;
        const Ref old_path = two_paths ? next_path() : Ref::borrow(Py_None);
        const Ref path = next_path();
        if (is_true(path)) {
            const Ref status =
                module_.call_method(module_["_STATUS_BY_LETTER"_name].get(), "get"_name,
                                    letter.get(), module_.name("modified"_name));
            store(statuses_, path, status, old_path);
        }
    }

    void read_numstat(PyObject* record) {
        const Ref most = Ref::steal(PyLong_FromLong(2));
        const Ref fields = module_.call_method(record, "split"_name, text("\t").get(), most.get());
        if (check(PyObject_Size(fields.get())) != 3) {
            return;
        }
        auto [added, deleted, path] = unpack_three(fields.get());
        if (!is_true(path)) {
            next_path();
            path = next_path();
        }
        const Ref additions = call(module_["_line_count"_name].get(), added.get());
        const Ref deletions = call(module_["_line_count"_name].get(), deleted.get());
        store(counts_, path, additions, deletions);
    }

    // map[path] = (first, second)
    static void store(const Ref& map, const Ref& path, const Ref& first, const Ref& second) {
        const Ref pair = Ref::steal(PyTuple_Pack(2, first.get(), second.get()));
        check(PyDict_SetItem(map.get(), path.get(), pair.get()));
    }

    const Module& module_;
    Ref cursor_;
    Ref statuses_;
    Ref counts_;
};

}  // namespace

bool file_changes_are_own(const Module& module) {
    const Ref statuses = module.find("_STATUS_BY_LETTER"_name);
    return module.is_own("_file_changes"_name) && module.is_own("_line_count"_name) &&
           module.is_own("_TWO_PATH_LETTERS"_name) && module.is_own("FileChange"_name) &&
           statuses && PyDict_CheckExact(statuses.get());
}

FileChangeReader::FileChangeReader(const Module& module)
    : module_(module),
      fill_(module, module["FileChange"_name].get(), file_change_fields),
      statuses_(module["_STATUS_BY_LETTER"_name]) {}

PyObject* FileChangeReader::status_of(char letter) {
    if (!status_ || letter != letter_) {
        const Ref key = letter == 0 ? text("") : Ref::steal(PyUnicode_FromOrdinal(letter));
        PyObject* found = nullptr;
        check(PyDict_GetItemRef(statuses_.get(), key.get(), &found));
        status_ = found == nullptr ? Ref::borrow(module_.name("modified"_name)) : Ref::steal(found);
        letter_ = letter;
    }
    return status_.get();
}

template <class Unit>
Ref FileChangeReader::read(ChangeScanner<Unit>& scanner) {
    const auto count = static_cast<Py_ssize_t>(scanner.count());
    const Ref changes = Ref::steal(PyTuple_New(count));
    ScannedFile<Unit> file;
    for (Py_ssize_t index = 0; index < count; ++index) {
        if (scanner.next(file) != Verdict::yes) {
            return {};
        }
        const Ref path = to_str(file.path);
        const Ref additions = Ref::steal(PyLong_FromLongLong(file.additions));
        const Ref deletions = Ref::steal(PyLong_FromLongLong(file.deletions));
        const Ref old_path =
            names_two_paths(file.letter) ? to_str(file.old_path) : Ref::borrow(Py_None);
        Ref change = fill_(path.get(), status_of(file.letter), additions.get(), deletions.get(),
                           old_path.get());
        PyTuple_SET_ITEM(changes.get(), index, change.release());
    }
    return scanner.next(file) == Verdict::no ? changes : Ref();
}

template Ref FileChangeReader::read(ChangeScanner<Py_UCS1>&);
template Ref FileChangeReader::read(ChangeScanner<Py_UCS2>&);
template Ref FileChangeReader::read(ChangeScanner<Py_UCS4>&);

Ref parse_file_changes(const Module& module, PyObject* output) {
    if (PyUnicode_CheckExact(output) && file_changes_are_own(module)) {
        const Ref changes = with_text(output, [&](auto units) {
            ChangeScanner scanner{TokenStream(units)};
            return FileChangeReader(module).read(scanner);
        });
        if (changes) {
            return Ref::steal(PySequence_List(changes.get()));
        }
    }
    const Ref file_changes = module["_file_changes"_name];
    const Ref separator = Ref::steal(PyUnicode_FromStringAndSize("\0", 1));
    const Ref tokens = module.call_method(output, "split"_name, separator.get());
    return call(file_changes.get(), tokens.get());
}

Ref _file_changes(const Module& module, PyObject* tokens) {
    StreamReading reading(module, tokens);
    reading.read();
    return reading.changes();
}

Ref _line_count(const Module& module, PyObject* field) {
    if (PyUnicode_CheckExact(field)) {
        const Ref count = with_text(field, [](auto units) {
            std::int64_t lines = 0;
            return read_count(units, lines) ? Ref::steal(PyLong_FromLongLong(lines)) : Ref();
        });
        if (count) {
            return count;
        }
    }
    if (!is_true(module.call_method(field, "isdigit"_name))) {
        return Ref::steal(PyLong_FromLong(0));
    }
    return Ref::steal(PyNumber_Long(field));
}

}  // namespace git_utils::parsing
