// Reading git's stream of raw and numstat records: what the Python statements do.
#include "capi/records.hpp"
#include "declarations.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils {
namespace {

// The two maps, and one cursor over the tokens.
class StreamReading {
public:
    StreamReading(const Module& module, Borrowed tokens)
        : module_(module),
          cursor_(iterate(tokens)),
          statuses_(empty_dict()),
          counts_(empty_dict()) {}

    void read() {
        // `for token in cursor` asks for an iterator once more.
        const Ref tokens = iterate(cursor_);
        while (const Ref token = next(tokens)) {
            const Ref record = module_.call_method(token, "lstrip"_name, text("\n"));
            if (is_true(module_.call_method(record, "startswith"_name, text(":")))) {
                read_raw(record);
            } else {
                read_numstat(record);
            }
        }
    }

    // for path, (status, old_path) in statuses.items(): ...
    // The maps are unpacked as by Python, since code that runs meanwhile can get hold of them
    // through gc and put anything into them. The loop takes the keys and the values from iterators
    // of their own: in CPython 3.13 the one over items() crashes when there is no memory to make
    // it.
    [[nodiscard]] Ref changes() const {
        Ref changes = empty_list();
        const Ref zero = integer(0);
        const Ref uncounted = tuple_of(zero, zero);
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
            const Ref type = module_["FileChange"_name];
            append(changes, construct(module_, type,
                                      FileChange{.path = path,
                                                 .status = status,
                                                 .additions = additions,
                                                 .deletions = deletions,
                                                 .old_path = old_path}));
        }
    }

private:
    // next(cursor, "")
    Ref next_path() const {
        const Ref token = next(cursor_);
        return token ? token : text("");
    }

    void read_raw(Borrowed record) {
        const Ref parts = module_.call_method(record, "rpartition"_name, text(" "));
        const Ref letter = slice(item(parts, 2), nullptr, integer(1));
        const bool has_two_paths = contains(module_["_TWO_PATH_LETTERS"_name], letter);
        const Ref old_path = has_two_paths ? next_path() : none();
        const Ref path = next_path();
        if (is_true(path)) {
            const Ref status = module_.call_method(module_["_STATUS_BY_LETTER"_name], "get"_name,
                                                   letter, module_.name("modified"_name));
            set_item(statuses_, path, tuple_of(status, old_path));
        }
    }

    void read_numstat(Borrowed record) {
        const Ref fields = module_.call_method(record, "split"_name, text("\t"), integer(2));
        if (length(fields) != 3) {
            return;
        }
        auto [added, deleted, path] = unpack<3>(fields);
        if (!is_true(path)) {
            next_path();
            path = next_path();
        }
        const Ref additions = call(module_["_line_count"_name], added);
        const Ref deletions = call(module_["_line_count"_name], deleted);
        set_item(counts_, path, tuple_of(additions, deletions));
    }

    const Module& module_;
    Ref cursor_;
    Ref statuses_;
    Ref counts_;
};

}  // namespace

Ref parse_file_changes(const Module& module, Borrowed output) {
    if (Ref changes = parsing::file_changes_natively(module, output)) {
        return changes;
    }
    const Ref file_changes = module["_file_changes"_name];
    return call(file_changes, module.call_method(output, "split"_name, text({"\0", 1})));
}

Ref _file_changes(const Module& module, Borrowed tokens) {
    StreamReading reading(module, tokens);
    reading.read();
    return reading.changes();
}

Ref _line_count(const Module& module, Borrowed field) {
    if (Ref count = parsing::line_count_natively(module, field)) {
        return count;
    }
    return is_true(module.call_method(field, "isdigit"_name)) ? as_integer(field) : integer(0);
}

}  // namespace git_utils
