// Reading a zero-context patch: what the Python statements do.
#include <algorithm>
#include <climits>

#include "capi/records.hpp"
#include "declarations.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils {
namespace {

// A count of a hunk's header: 1 where its group took no part.
Ref count_of(const Module& module, Borrowed header, int group) {
    const Ref count = module.call_method(header, "group"_name, integer(group));
    return is(count, Py_None) ? integer(1) : as_integer(count);
}

// A count as a number of lines to pass. One below zero passes no more lines than zero does, and no
// text has as many lines as the largest.
long long lines_left(Borrowed count) {
    int overflow = 0;
    const long long lines = PyLong_AsLongLongAndOverflow(count.get(), &overflow);
    return overflow > 0 ? LLONG_MAX : std::max(lines, 0LL);
}

// One line after the other, each an object.
class PatchReading {
public:
    explicit PatchReading(const Module& module) : module_(module), spans_(empty_dict()) {}

    void read(Borrowed line) {
        if (old_left_ > 0 || new_left_ > 0) {
            count_off(line);
        } else if (starts_with(line, "+++ ")) {
            const Ref patch_path = module_["_patch_path"_name];
            path_ = call(patch_path, slice_from(line, 4));
        } else {
            const Ref header =
                module_.call_method(module_["_HUNK_HEADER"_name], "match"_name, line);
            if (is_true(header)) {
                read_header(header);
            }
        }
    }

    [[nodiscard]] Ref spans() const { return spans_; }

private:
    bool starts_with(Borrowed line, const char* prefix) const {
        return is_true(module_.call_method(line, "startswith"_name, text(prefix)));
    }

    void count_off(Borrowed line) {
        if (starts_with(line, "-")) {
            --old_left_;
        } else if (starts_with(line, "+")) {
            --new_left_;
        } else if (starts_with(line, " ")) {
            --old_left_;
            --new_left_;
        }
    }

    void read_header(Borrowed header) {
        const Ref old_count = count_of(module_, header, 1);
        old_left_ = lines_left(old_count);
        const Ref start = as_integer(module_.call_method(header, "group"_name, integer(2)));
        const Ref new_count = count_of(module_, header, 3);
        new_left_ = lines_left(new_count);
        if (!is(path_, Py_None)) {
            const Ref path_spans = set_default(spans_, path_, empty_list());
            append(path_spans, call(module_["_span"_name], start, new_count, old_count));
        }
    }

    const Module& module_;
    Ref spans_;
    Ref path_ = none();
    long long old_left_ = 0;
    long long new_left_ = 0;
};

}  // namespace

Ref parse_line_spans(const Module& module, Borrowed patch) {
    if (Ref spans = parsing::line_spans_natively(module, patch)) {
        return spans;
    }
    PatchReading reading(module);
    const Ref lines = iterate(module.call_method(patch, "split"_name, text("\n")));
    while (const Ref line = next(lines)) {
        reading.read(line);
    }
    return reading.spans();
}

Ref _span(const Module& module, Borrowed start, Borrowed new_count, Borrowed old_count) {
    if (equals(new_count, 0)) {
        // max(start, 1)
        const Ref one = integer(1);
        const Ref line = compare(one, start, Py_GT) ? one : Ref::borrow(start.get());
        const Ref type = module["LineSpan"_name];
        return construct(module, type, LineSpan{.start = line, .end = line, .added = Py_False});
    }
    const Ref type = module["LineSpan"_name];
    const Ref end = subtract(add(start, new_count), integer(1));
    const Ref added = Ref::steal(PyObject_RichCompare(old_count.get(), integer(0).get(), Py_EQ));
    return construct(module, type, LineSpan{.start = start, .end = end, .added = added});
}

}  // namespace git_utils
