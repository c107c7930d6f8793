// Reading git's stream of raw and numstat records.
#include "parsing/fast_path.hpp"
#include "parsing/file_change_reader.hpp"

namespace git_utils {
namespace {

// The local variables of _file_changes(): one cursor over the tokens, and the two maps.
class FileChangesFallback {
public:
    FileChangesFallback(const ModuleState& module, Borrowed tokens)
        : module_(module),
          cursor_(iterate(tokens)),
          statuses_(empty_dict()),
          counts_(empty_dict()) {}

    void read_records() {
        // `for token in cursor` calls iter() once more.
        const Ref tokens = iterate(cursor_);
        while (const Ref token = next(tokens)) {
            const Ref record = module_.call_method(token, "lstrip"_name, "\n");
            if (is_true(module_.call_method(record, "startswith"_name, ":"))) {
                read_raw(record);
            } else {
                read_numstat(record);
            }
        }
    }

    // for path, (status, old_path) in statuses.items(): ...
    // Entries are unpacked as Python does, since code that runs meanwhile can reach the maps
    // through gc. Keys and values come from two iterators: in CPython 3.13 the one over items()
    // crashes when it cannot be allocated.
    [[nodiscard]] Ref changes() const {
        Ref changes = empty_list();
        const Ref uncounted = tuple_of({0, 0});
        const Ref paths = iterate(statuses_);
        const Ref entries = iterate(module_.call_method(statuses_, "values"_name));
        while (true) {
            const Ref path = next(paths);
            const Ref entry = next(entries);
            if (!path || !entry) {
                return changes;
            }
            const auto [status, old_path] = unpack<2>(entry);
            const Ref counts = find_item(counts_, path);
            const auto [additions, deletions] = unpack<2>(counts ? counts : uncounted);
            append(changes, construct(module_, module_["FileChange"_name],
                                      FileChange{.path = path,
                                                 .status = status,
                                                 .additions = additions,
                                                 .deletions = deletions,
                                                 .old_path = old_path}));
        }
    }

private:
    // next(cursor, ""), which does not ask for an iterator
    Ref next_path() const {
        if (PyIter_Check(cursor_.get()) == 0) {
            raise(PyExc_TypeError, "'%.200s' object is not an iterator",
                  Py_TYPE(cursor_.get())->tp_name);
        }
        const Ref token = next(cursor_);
        return token ? token : text("");
    }

    void read_raw(Borrowed record) {
        const Ref parts = module_.call_method(record, "rpartition"_name, " ");
        const Ref letter = slice(item({parts, 2}), {Py_None, 1});
        const bool has_two_paths = is_in({letter, module_["_TWO_PATH_LETTERS"_name]});
        const Ref old_path = has_two_paths ? next_path() : none();
        const Ref path = next_path();
        if (is_true(path)) {
            const Ref status = module_.call_method(module_["_STATUS_BY_LETTER"_name], "get"_name,
                                                   letter, module_.name("modified"_name));
            set_item(statuses_, path, tuple_of({status, old_path}));
        }
    }

    void read_numstat(Borrowed record) {
        const Ref fields = module_.call_method(record, "split"_name, "\t", 2);
        if (length(fields) != 3) {
            return;
        }
        auto [added, deleted, path] = unpack<3>(fields);
        if (!is_true(path)) {
            next_path();
            path = next_path();
        }
        set_item(counts_, path,
                 tuple_of({call({module_["_line_count"_name], added}),
                           call({module_["_line_count"_name], deleted})}));
    }

    const ModuleState& module_;
    Ref cursor_;
    Ref statuses_;
    Ref counts_;
};

}  // namespace

Ref parse_file_changes(const ModuleState& module, Borrowed output) {
    if (Ref changes = fast_path<guards::file_changes>(module, output, [&](auto characters) {
            scan::ChangeScanner scanner{scan::TokenStream(characters)};
            return FileChangeReader(module).read(scanner, PyList_New);
        })) {
        return changes;
    }
    return call(
        {module["_file_changes"_name], module.call_method(output, "split"_name, scan::separator)});
}

Ref _file_changes(const ModuleState& module, Borrowed tokens) {
    FileChangesFallback state(module, tokens);
    state.read_records();
    return state.changes();
}

Ref _line_count(const ModuleState& module, Borrowed field) {
    return is_true(module.call_method(field, "isdigit"_name)) ? as_integer(field) : integer(0);
}

}  // namespace git_utils
