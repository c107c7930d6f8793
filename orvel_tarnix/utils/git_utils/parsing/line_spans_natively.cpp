#include "capi/inline_values.hpp"
#include "declarations.hpp"
#include "natively.hpp"
#include "parsing/native/patch_scanner.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils::parsing {
namespace {

template <class Unit>
class PatchReader {
public:
    PatchReader(const Module& module, Units<Unit> patch)
        : module_(module), scanner_(patch), fill_(module), spans_(empty_dict()) {}

    // {path: [LineSpan(...), ...], ...}; nothing when it declines.
    Ref read() {
        Units<Unit> line;
        while (scanner_.next_line(line)) {
            if (starts_with(line, before_newer_name)) {
                path_ = patch_path_natively(module_, line.subspan(before_newer_name.size()));
                path_spans_ = {};
                if (!path_) {
                    return {};
                }
                continue;
            }
            HunkHeader hunk;
            const Verdict verdict = read_hunk_header(line, hunk);
            if (verdict == Verdict::undecided) {
                return {};
            }
            if (verdict == Verdict::yes) {
                add_span(hunk);
                scanner_.skip_hunk(hunk.old_count, hunk.new_count);
            }
        }
        return spans_;
    }

private:
    // spans.setdefault(path, []).append(_span(...)), unless there is no newer side.
    void add_span(const HunkHeader& hunk) {
        if (is(path_, Py_None)) {
            return;
        }
        if (!path_spans_) {
            path_spans_ = set_default(spans_, path_, empty_list());
        }
        const ScannedSpan span = span_of(hunk);
        const Ref start = integer(span.start);
        const Ref end = span.start == span.end ? start : integer(span.end);
        append(
            path_spans_,
            fill_(LineSpan{.start = start, .end = end, .added = span.added ? Py_True : Py_False}));
    }

    const Module& module_;
    PatchScanner<Unit> scanner_;
    RecordFiller<LineSpan> fill_;
    Ref spans_;
    Ref path_ = none();
    Ref path_spans_;  // the list of the path, once there is one
};

}  // namespace

Ref line_spans_natively(const Module& module, Borrowed patch) {
    return natively<uses::line_spans>(
        module, patch, [&](auto units) { return PatchReader(module, units).read(); });
}

}  // namespace git_utils::parsing
