// Reading a zero-context patch.
#include <algorithm>
#include <climits>

#include "capi/records.hpp"
#include "declarations.hpp"
#include "parsing/fast_path.hpp"
#include "scan/patch_scanner.hpp"
#include "scan/quoted_name.hpp"

namespace git_utils {
namespace {

// The fast path of parse_line_spans(), and of _patch_path() and _unquote() in it.
template <class Unit>
class PatchReader {
public:
    PatchReader(const ModuleState& module, scan::Units<Unit> patch)
        : module_(module), scanner_(patch), fill_(module), spans_(empty_dict()) {}

    // {path: [LineSpan(...), ...], ...}; nothing when it declines.
    Ref read() {
        scan::Units<Unit> line;
        while (scanner_.next_line(line)) {
            if (scan::begins_with(line, scan::new_name_prefix)) {
                path_ = patch_path(line.subspan(scan::new_name_prefix.size()));
                path_spans_ = {};
                if (!path_) {
                    return {};
                }
                continue;
            }
            scan::HunkHeader hunk;
            const scan::Verdict verdict = scan::read_hunk_header(line, hunk);
            if (verdict == scan::Verdict::declined) {
                return {};
            }
            if (verdict == scan::Verdict::yes) {
                add_span(hunk);
                scanner_.skip_hunk(hunk.old_count, hunk.new_count);
            }
        }
        return spans_;
    }

private:
    // spans.setdefault(path, []).append(_span(...)), unless the file has no newer side
    void add_span(const scan::HunkHeader& hunk) {
        if (is(path_, Py_None)) {
            return;
        }
        if (!path_spans_) {
            path_spans_ = set_default(spans_, path_, empty_list());
        }
        const scan::Span span = scan::span_of(hunk);
        const Ref start = integer(span.start);
        const Ref end = span.start == span.end ? start : integer(span.end);
        append(
            path_spans_,
            fill_(LineSpan{.start = start, .end = end, .added = span.added ? Py_True : Py_False}));
    }

    // _patch_path(text); nothing when it declines
    Ref patch_path(scan::Units<Unit> text) const {
        switch (scan::trim_name(text)) {
            case scan::NameForm::none:
                return none();
            case scan::NameForm::quoted:
                return unquoted(text);
            default:
                return to_str(text);
        }
    }

    Ref unquoted(scan::Units<Unit> text) const {
        std::string bytes;
        const auto append = [&](Py_UCS4 code) { return append_unescaped(bytes, code); };
        if (!scan::unquote(text, bytes, append)) {
            return {};
        }
        return Ref::steal(
            PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace"));
    }

    // Appends _C_ESCAPES.get(code, code); false if that is not a str that UTF-8 can encode.
    bool append_unescaped(std::string& bytes, Py_UCS4 code) const {
        const Ref table = module_["_C_ESCAPES"_name];
        // Without the GIL another thread may have rebound the name since the guards were checked.
        if (!PyDict_CheckExact(table.get())) {
            return false;
        }
        const Ref meaning = find_item(table, to_str(scan::Units<Py_UCS4>(&code, 1)));
        if (!meaning) {
            return scan::append_utf8(bytes, code);
        }
        return read_exact_str(meaning, [&](auto characters) {
            return std::ranges::all_of(characters,
                                       [&](auto unit) { return scan::append_utf8(bytes, unit); });
        });
    }

    const ModuleState& module_;
    scan::PatchScanner<Unit> scanner_;
    RecordFiller<LineSpan> fill_;
    Ref spans_;
    Ref path_ = none();
    Ref path_spans_;  // the list of the path, once it has one
};

// A count in a hunk header; 1 if omitted
Ref count_of(const ModuleState& module, Borrowed header, int group) {
    const Ref count = module.call_method(header, "group"_name, group);
    return is(count, Py_None) ? integer(1) : as_integer(count);
}

// Clamps a count: a negative one skips nothing, and no patch has LLONG_MAX lines.
long long lines_left(Borrowed count) {
    int overflow = 0;
    const long long lines = PyLong_AsLongLongAndOverflow(count.get(), &overflow);
    return overflow > 0 ? LLONG_MAX : std::max(lines, 0LL);
}

// The local variables of parse_line_spans().
class LineSpansFallback {
public:
    explicit LineSpansFallback(const ModuleState& module) : module_(module), spans_(empty_dict()) {}

    void read(Borrowed line) {
        if (old_left_ > 0 || new_left_ > 0) {
            count_off(line);
        } else if (starts_with(line, "+++ ")) {
            path_ = call({module_["_patch_path"_name], slice(line, {4, Py_None})});
        } else if (const Ref header =
                       module_.call_method(module_["_HUNK_HEADER"_name], "match"_name, line);
                   is_true(header)) {
            read_header(header);
        }
    }

    [[nodiscard]] Ref spans() const { return spans_; }

private:
    bool starts_with(Borrowed line, const char* prefix) const {
        return is_true(module_.call_method(line, "startswith"_name, prefix));
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
        const Ref start = as_integer(module_.call_method(header, "group"_name, 2));
        const Ref new_count = count_of(module_, header, 3);
        new_left_ = lines_left(new_count);
        if (!is(path_, Py_None)) {
            const Ref path_spans = set_default(spans_, path_, empty_list());
            append(path_spans, call({module_["_span"_name], start, new_count, old_count}));
        }
    }

    const ModuleState& module_;
    Ref spans_;
    Ref path_ = none();
    long long old_left_ = 0;
    long long new_left_ = 0;
};

}  // namespace

Ref parse_line_spans(const ModuleState& module, Borrowed patch) {
    if (Ref spans = fast_path<guards::line_spans>(module, patch, [&](auto characters) {
            return PatchReader(module, characters).read();
        })) {
        return spans;
    }
    LineSpansFallback state(module);
    const Ref lines = iterate(module.call_method(patch, "split"_name, "\n"));
    while (const Ref line = next(lines)) {
        state.read(line);
    }
    return state.spans();
}

Ref _span(const ModuleState& module, Borrowed start, Borrowed new_count, Borrowed old_count) {
    if (is_equal({new_count, 0})) {
        // max(start, 1)
        const Ref one = integer(1);
        const Ref line = is_greater({one, start}) ? one : Ref::borrow(start.get());
        return construct(module, module["LineSpan"_name],
                         LineSpan{.start = line, .end = line, .added = Py_False});
    }
    const Ref type = module["LineSpan"_name];
    const Ref end = subtract({add({start, new_count}), 1});
    const Ref added = compare({old_count, 0}, Py_EQ);
    return construct(module, type, LineSpan{.start = start, .end = end, .added = added});
}

}  // namespace git_utils
