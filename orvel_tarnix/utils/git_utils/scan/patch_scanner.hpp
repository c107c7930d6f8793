// Reading a zero-context patch line by line.
#pragma once

#include "scan/units.hpp"

namespace git_utils::scan {

inline constexpr std::string_view new_name_prefix = "+++ ";

// The pattern that read_hunk_header() implements
inline constexpr const char* hunk_header_pattern = R"(@@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@)";

struct HunkHeader {
    std::int64_t old_count = 1;
    std::int64_t start = 0;
    std::int64_t new_count = 1;
};

// Reads a hunk header at the start of a line: `@@ -1,2 +3,4 @@`.
template <class Unit>
Verdict read_hunk_header(Units<Unit> line, HunkHeader& header) {
    const auto skip = [&](std::string_view literal) {
        if (!begins_with(line, literal)) {
            return false;
        }
        line = line.subspan(literal.size());
        return true;
    };
    // \d+(?:,(\d+))?
    const auto read_range = [&](std::int64_t& start, std::int64_t& count) {
        Verdict verdict = read_number(line, start);
        if (verdict == Verdict::yes && skip(",")) {
            // A comma without a number does not match.
            verdict = read_number(line, count);
        }
        return verdict;
    };
    if (!skip("@@ -")) {
        return Verdict::no;
    }
    std::int64_t old_start = 0;
    if (const Verdict verdict = read_range(old_start, header.old_count); verdict != Verdict::yes) {
        return verdict;
    }
    if (!skip(" +")) {
        return Verdict::no;
    }
    if (const Verdict verdict = read_range(header.start, header.new_count);
        verdict != Verdict::yes) {
        return verdict;
    }
    return skip(" @@") ? Verdict::yes : Verdict::no;
}

// The lines of the newer side that a hunk touches, both ends included
struct Span {
    std::int64_t start;
    std::int64_t end;
    bool added;
};

inline Span span_of(const HunkHeader& hunk) {
    if (hunk.new_count == 0) {
        // The line above the removed ones, which is 0 at the top.
        const std::int64_t line = std::max<std::int64_t>(hunk.start, 1);
        return {line, line, false};
    }
    return {hunk.start, hunk.start + hunk.new_count - 1, hunk.old_count == 0};
}

// Separates the content of hunks from the lines that name a file or begin a hunk.
template <class Unit>
class PatchScanner {
public:
    explicit PatchScanner(Units<Unit> patch)
        : at_(patch.data()), end_(patch.data() + patch.size()) {}

    // Reads the next line outside of the content of hunks. Unlike str.split() this gives no empty
    // line after the final line feed.
    bool next_line(Units<Unit>& line) {
        if (at_ == end_) {
            return false;
        }
        const Unit* line_end = find(at_, end_, '\n');
        line = {at_, line_end};
        go_past(line_end);
        return true;
    }

    // Skips as many lines as the hunk's header announced.
    void skip_hunk(std::int64_t old_left, std::int64_t new_left) {
        while (at_ != end_ && (old_left > 0 || new_left > 0)) {
            const Unit kind = *at_;
            old_left -= kind == '-' || kind == ' ';
            new_left -= kind == '+' || kind == ' ';
            if (old_left > block || new_left > block) {
                skip_blocks(old_left, new_left);
            }
            go_past(find(at_, end_, '\n'));
        }
    }

private:
    // Small enough for the counts of a block to fit in a byte
    static constexpr std::ptrdiff_t block = 128;

    // Skips whole blocks of a long hunk by counting how many lines of each kind begin in a block,
    // which is several times as fast as searching for the end of each line. The counters only ever
    // fall, so a hunk with lines left after a block has not ended inside it. The line that begins
    // here is already counted.
    void skip_blocks(std::int64_t& old_left, std::int64_t& new_left) {
        while (end_ - at_ > block) {
            Unit removed = 0;
            Unit added = 0;
            Unit kept = 0;
            for (std::ptrdiff_t i = 0; i < block; ++i) {
                // A mask instead of a branch lets the compiler vectorise the loop.
                const auto mask = static_cast<Unit>(-static_cast<int>(at_[i] == '\n'));
                const auto kind = static_cast<Unit>(at_[i + 1] & mask);
                removed = static_cast<Unit>(removed + (kind == '-'));
                added = static_cast<Unit>(added + (kind == '+'));
                kept = static_cast<Unit>(kept + (kind == ' '));
            }
            const std::int64_t old_after = old_left - removed - kept;
            const std::int64_t new_after = new_left - added - kept;
            if (old_after <= 0 && new_after <= 0) {
                return;
            }
            old_left = old_after;
            new_left = new_after;
            at_ += block;
        }
    }

    void go_past(const Unit* line_end) { at_ = line_end == end_ ? end_ : line_end + 1; }

    const Unit* at_;
    const Unit* end_;
};

}  // namespace git_utils::scan
