#include "parsing/parsing.hpp"
#include "parsing/patch_scanner.hpp"
#include "parsing/quoted_names.hpp"
#include "parsing/records.hpp"
#include "text/units.hpp"

namespace git_utils::parsing {
namespace {

constexpr std::string_view name_line_start = "+++ ";

// spans.setdefault(path, [])
Ref spans_of(PyObject* spans, PyObject* path) {
    const Ref none = Ref::steal(PyList_New(0));
    PyObject* list = nullptr;
    check(PyDict_SetDefaultRef(spans, path, none.get(), &list));
    return Ref::steal(list);
}

Ref integer(std::int64_t value) { return Ref::steal(PyLong_FromLongLong(value)); }

using LineSpanFiller = RecordFiller<line_span_fields.size()>;

// _span() of a hunk.
Ref native_span(LineSpanFiller& fill_line_span, const HunkHeader& hunk) {
    const bool removes_only = hunk.new_count == 0;
    const std::int64_t first = removes_only ? std::max<std::int64_t>(hunk.start, 1) : hunk.start;
    const std::int64_t last = removes_only ? first : first + hunk.new_count - 1;
    const bool added = !removes_only && hunk.old_count == 0;
    const Ref start = integer(first);
    const Ref end = first == last ? start : integer(last);
    return fill_line_span(start.get(), end.get(), added ? Py_True : Py_False);
}

bool spans_are_own(const Module& module) {
    return module.is_own("_HUNK_HEADER"_name) && module.is_own("_span"_name) &&
           module.is_own("LineSpan"_name) && patch_paths_are_own(module);
}

template <class Unit>
Ref read_patch(const Module& module, Units<Unit> patch) {
    Ref spans = Ref::steal(PyDict_New());
    const Ref line_span = module["LineSpan"_name];
    LineSpanFiller fill_line_span(module, line_span.get(), line_span_fields);
    Ref path = Ref::borrow(Py_None);
    Ref path_spans;
    PatchScanner<Unit> scanner(patch);
    Units<Unit> line;
    while (scanner.next_line(line)) {
        if (starts_with(line, name_line_start)) {
            path = read_patch_path(module, line.subspan(name_line_start.size()));
            path_spans = {};
            if (!path) {
                return {};
            }
            continue;
        }
        HunkHeader hunk;
        const Verdict verdict = read_hunk_header(line, hunk);
        if (verdict == Verdict::undecided) {
            return {};
        }
        if (verdict == Verdict::no) {
            continue;
        }
        if (path.get() != Py_None) {
            if (!path_spans) {
                path_spans = spans_of(spans.get(), path.get());
            }
            const Ref span = native_span(fill_line_span, hunk);
            check(PyList_Append(path_spans.get(), span.get()));
        }
        scanner.skip_hunk(hunk.old_count, hunk.new_count);
    }
    return spans;
}

// A count of a hunk header: int(text or 1).
Ref count_of(PyObject* header, long group) {
    const Ref count = item(header, group);
    return is_true(count) ? Ref::steal(PyNumber_Long(count.get())) : Ref::steal(PyLong_FromLong(1));
}

// A count as a number of lines to pass; no text has as many lines as the largest.
std::int64_t lines_left(const Ref& count) {
    int overflow = 0;
    const long long lines = PyLong_AsLongLongAndOverflow(count.get(), &overflow);
    check(lines == -1 && PyErr_Occurred() != nullptr ? -1 : 0);
    if (overflow != 0) {
        return overflow > 0 ? INT64_MAX : INT64_MIN;
    }
    return lines;
}

// The general way: one line after the other, each an object.
class PatchReading {
public:
    explicit PatchReading(const Module& module)
        : module_(module), spans_(Ref::steal(PyDict_New())), path_(Ref::borrow(Py_None)) {}

    void read(PyObject* line) {
        if (old_left_ > 0 || new_left_ > 0) {
            count_off(line);
        } else if (starts_with(line, "+++ ")) {
            const Ref patch_path = module_["_patch_path"_name];
            path_ = call(patch_path.get(), slice(line, 4, to_the_end).get());
        } else {
            const Ref header =
                module_.call_method(module_["_HUNK_HEADER"_name].get(), "match"_name, line);
            if (is_true(header)) {
                read_header(header.get());
            }
        }
    }

    Ref spans() && { return std::move(spans_); }

private:
    bool starts_with(PyObject* line, const char* prefix) const {
        return is_true(module_.call_method(line, "startswith"_name, text(prefix).get()));
    }

    void count_off(PyObject* line) {
        if (starts_with(line, "-")) {
            --old_left_;
        } else if (starts_with(line, "+")) {
            --new_left_;
        } else if (starts_with(line, " ")) {
            --old_left_;
            --new_left_;
        }
    }

    void read_header(PyObject* header) {
        const Ref old_count = count_of(header, 1);
        old_left_ = lines_left(old_count);
        const Ref start = Ref::steal(PyNumber_Long(item(header, 2).get()));
        const Ref new_count = count_of(header, 3);
        new_left_ = lines_left(new_count);
        if (path_.get() != Py_None) {
            const Ref path_spans = spans_of(spans_.get(), path_.get());
            const Ref span =
                call(module_["_span"_name].get(), start.get(), new_count.get(), old_count.get());
            check(PyList_Append(path_spans.get(), span.get()));
        }
    }

    const Module& module_;
    Ref spans_;
    Ref path_;
    std::int64_t old_left_ = 0;
    std::int64_t new_left_ = 0;
};

}  // namespace

Ref parse_line_spans(const Module& module, PyObject* patch) {
    if (PyUnicode_CheckExact(patch) && spans_are_own(module)) {
        Ref spans = with_text(patch, [&](auto units) { return read_patch(module, units); });
        if (spans) {
            return spans;
        }
    }
    PatchReading reading(module);
    const Ref lines = module.call_method(patch, "split"_name, text("\n").get());
    const Ref iterator = Ref::steal(PyObject_GetIter(lines.get()));
    while (const Ref line = next(iterator.get())) {
        reading.read(line.get());
    }
    return std::move(reading).spans();
}

Ref _span(const Module& module, PyObject* start, PyObject* new_count, PyObject* old_count) {
    const Ref zero = Ref::steal(PyLong_FromLong(0));
    const Ref one = Ref::steal(PyLong_FromLong(1));
    if (compare(new_count, zero.get(), Py_EQ)) {
        // max(start, 1)
        const bool is_top = check(PyObject_RichCompareBool(one.get(), start, Py_GT)) != 0;
        PyObject* line = is_top ? one.get() : start;
        return construct(module, "LineSpan"_name, module["LineSpan"_name].get(), line_span_fields,
                         line, line, Py_False);
    }
    const Ref line_span = module["LineSpan"_name];
    const Ref behind = Ref::steal(PyNumber_Add(start, new_count));
    const Ref end = Ref::steal(PyNumber_Subtract(behind.get(), one.get()));
    const Ref added = Ref::steal(PyObject_RichCompare(old_count, zero.get(), Py_EQ));
    return construct(module, "LineSpan"_name, line_span.get(), line_span_fields, start, end.get(),
                     added.get());
}

}  // namespace git_utils::parsing
