// Reading a zero-context patch line by line.
#pragma once

#include "parsing/native/scan.hpp"

namespace git_utils::parsing {

// What stands around the two ranges of a hunk's header, `@@ -1,2 +3,4 @@`.
inline constexpr std::string_view before_old_range = "@@ -";
inline constexpr std::string_view before_new_range = " +";
inline constexpr std::string_view behind_ranges = " @@";
inline constexpr std::string_view before_count = ",";

inline constexpr std::string_view before_newer_name = "+++ ";

struct HunkHeader {
    std::int64_t old_count = 1;
    std::int64_t start = 0;
    std::int64_t new_count = 1;
};

// Reads what the pattern _HUNK_HEADER matches at the start of a line.
template <class Unit>
Verdict read_hunk_header(Units<Unit> line, HunkHeader& header) {
    const auto skip = [&](std::string_view literal) {
        if (!starts_with(line, literal)) {
            return false;
        }
        line = line.subspan(literal.size());
        return true;
    };
    // \d+(?:,(\d+))?
    const auto read_range = [&](std::int64_t& start, std::int64_t& count) {
        Verdict verdict = read_number(line, start);
        if (verdict == Verdict::yes && skip(before_count)) {
            // The pattern does not match a comma without a number either.
            verdict = read_number(line, count);
        }
        return verdict;
    };
    if (!skip(before_old_range)) {
        return Verdict::no;
    }
    std::int64_t old_start = 0;
    if (const Verdict verdict = read_range(old_start, header.old_count); verdict != Verdict::yes) {
        return verdict;
    }
    if (!skip(before_new_range)) {
        return Verdict::no;
    }
    if (const Verdict verdict = read_range(header.start, header.new_count);
        verdict != Verdict::yes) {
        return verdict;
    }
    return skip(behind_ranges) ? Verdict::yes : Verdict::no;
}

// The lines of the newer side that a hunk touches, both ends included.
struct ScannedSpan {
    std::int64_t start;
    std::int64_t end;
    bool added;
};

inline ScannedSpan span_of(const HunkHeader& hunk) {
    if (hunk.new_count == 0) {
        // Lines were removed below this one, or ahead of the first.
        const std::int64_t line = std::max<std::int64_t>(hunk.start, 1);
        return {line, line, false};
    }
    return {hunk.start, hunk.start + hunk.new_count - 1, hunk.old_count == 0};
}

// Takes the lines of a patch apart into those that name a file or begin a hunk, and the rest.
template <class Unit>
class PatchScanner {
public:
    explicit PatchScanner(Units<Unit> patch)
        : at_(patch.data()), end_(patch.data() + patch.size()) {}

    // The next line that is outside of a hunk's content. Unlike str.split() this gives no empty
    // line behind a line feed at the end: it would say nothing.
    bool next_line(Units<Unit>& line) {
        if (at_ == end_) {
            return false;
        }
        const Unit* line_end = find(at_, end_, '\n');
        line = {at_, line_end};
        go_behind(line_end);
        return true;
    }

    // Counts the lines of a hunk off its header, until neither side has any left.
    void skip_hunk(std::int64_t old_left, std::int64_t new_left) {
        while (at_ != end_ && (old_left > 0 || new_left > 0)) {
            const Unit kind = *at_;
            old_left -= kind == '-' || kind == ' ';
            new_left -= kind == '+' || kind == ' ';
            if (old_left > block || new_left > block) {
                skip_blocks(old_left, new_left);
            }
            go_behind(find(at_, end_, '\n'));
        }
    }

private:
    // Small enough for the counts of a block to fit in a byte.
    static constexpr std::ptrdiff_t block = 128;

    // Passes over whole blocks of a long hunk. The line that begins here has been counted. Counting
    // how many lines of each kind begin in a block is several times as fast as a search for the end
    // of each line. Both counters only ever fall: when one is still above zero behind a block, the
    // hunk has not ended inside it.
    void skip_blocks(std::int64_t& old_left, std::int64_t& new_left) {
        while (end_ - at_ > block) {
            Unit removed = 0;
            Unit added = 0;
            Unit kept = 0;
            for (std::ptrdiff_t i = 0; i < block; ++i) {
                const bool ends = at_[i] == '\n';
                removed = static_cast<Unit>(removed + (ends & (at_[i + 1] == '-')));
                added = static_cast<Unit>(added + (ends & (at_[i + 1] == '+')));
                kept = static_cast<Unit>(kept + (ends & (at_[i + 1] == ' ')));
            }
            const std::int64_t old_behind = old_left - removed - kept;
            const std::int64_t new_behind = new_left - added - kept;
            if (old_behind <= 0 && new_behind <= 0) {
                return;
            }
            old_left = old_behind;
            new_left = new_behind;
            at_ += block;
        }
    }

    void go_behind(const Unit* line_end) { at_ = line_end == end_ ? end_ : line_end + 1; }

    const Unit* at_;
    const Unit* end_;
};

}  // namespace git_utils::parsing
