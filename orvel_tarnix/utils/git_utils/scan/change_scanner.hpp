// Reading git's NUL-separated streams of raw records, numstat records and commit headers.
#pragma once

#include "scan/units.hpp"

namespace git_utils::scan {

inline constexpr std::string_view separator{"\0", 1};
// The start of a commit's header, and the status letters whose raw record names two paths
inline constexpr char commit_start = '\x1e';
inline constexpr std::string_view two_path_letters = "RC";

// The tokens between the NUL characters of a text.
template <class Unit>
class TokenStream {
public:
    explicit TokenStream(Units<Unit> text) : at_(text.data()), end_(text.data() + text.size()) {}

    // The rest of this stream up to the next commit header.
    [[nodiscard]] TokenStream of_this_commit() const {
        TokenStream stream = *this;
        stream.ends_at_commit_ = true;
        return stream;
    }
    // Continues where `other` has stopped.
    void continue_after(const TokenStream& other) { at_ = other.at_; }

    // Reads the next token; false and an empty token at the end. Unlike str.split() this gives no
    // empty token after a final NUL, which every reader of this stream would skip.
    bool next(Units<Unit>& token) {
        if (at_ == end_ || (ends_at_commit_ && opens_commit())) {
            token = {};
            return false;
        }
        const Unit* token_end = find(at_, end_, '\0');
        token = {at_, token_end};
        at_ = token_end == end_ ? end_ : token_end + 1;
        return true;
    }

private:
    [[nodiscard]] bool opens_commit() const {
        const auto rest = without_leading_line_feeds(Units<Unit>(at_, end_));
        return !rest.empty() && rest.front() == static_cast<Unit>(commit_start);
    }

    const Unit* at_;
    const Unit* end_;
    bool ends_at_commit_ = false;
};

// Reads the timestamp of a commit's header, in seconds since the epoch.
template <class Unit>
Verdict read_commit_header(Units<Unit> token, std::int64_t& timestamp) {
    token = without_leading_line_feeds(token);
    if (token.empty() || token.front() != static_cast<Unit>(commit_start)) {
        return Verdict::no;
    }
    token = token.subspan(1);
    // int() also accepts white space, a sign and underscores.
    const bool is_plain = read_number(token, timestamp) == Verdict::yes && token.empty();
    return is_plain ? Verdict::yes : Verdict::declined;
}

// One file; its paths are parts of the scanned text. The letter is NUL if the record has none.
template <class Unit>
struct ScannedFile {
    Units<Unit> path;
    Units<Unit> old_path;
    char letter = 0;
    std::int64_t additions = 0;
    std::int64_t deletions = 0;
};

inline bool names_two_paths(char letter) {
    return two_path_letters.find(letter) != std::string_view::npos;
}

// Reads a numstat count; anything but a number, such as the "-" of a binary file, counts 0. False
// if that is declined.
template <class Unit>
bool read_count(Units<Unit> field, std::int64_t& count) {
    if (read_number(field, count) == Verdict::declined) {
        return false;
    }
    if (!field.empty()) {
        count = 0;
    }
    return true;
}

// Reads the records of one diff as git writes them: a raw record for each file, in the order of the
// paths, then the numstat records in the same order, some of which may be missing. Two cursors, one
// in each section, pair them without a map. Since the paths ascend, none comes twice; a stream in
// any other order is declined.
template <class Unit>
class ChangeScanner {
public:
    explicit ChangeScanner(TokenStream<Unit> tokens) : raw_(tokens), numstat_(tokens) {
        // The numstat section begins where the raw one ends.
        for (TokenStream<Unit> lookahead = tokens; next_raw_record(lookahead) == Verdict::yes;) {
            count_ += file_.path.empty() ? 0 : 1;
            numstat_ = lookahead;
        }
        file_ = {};
        read_numstat();
    }

    // The number of files
    [[nodiscard]] std::size_t count() const { return count_; }

    // Reads the next file; no at the end.
    Verdict next(ScannedFile<Unit>& file) {
        const Units<Unit> previous = file_.path;
        const Verdict verdict = next_raw_record(raw_);
        if (verdict != Verdict::yes || file_.path.empty()) {
            // A remaining numstat record names no file of the raw section, or is out of order.
            const bool is_over = verdict != Verdict::declined && numstat_verdict_ == Verdict::no;
            return is_over ? Verdict::no : Verdict::declined;
        }
        // Git sorts by UTF-8 bytes, which is the order of the characters.
        if (!std::ranges::lexicographical_compare(previous, file_.path)) {
            return Verdict::declined;
        }
        file = file_;
        if (numstat_verdict_ == Verdict::yes &&
            std::ranges::equal(numstat_record_.path, file.path)) {
            file.additions = numstat_record_.additions;
            file.deletions = numstat_record_.deletions;
            read_numstat();
        }
        return Verdict::yes;
    }

    // The tokens after the last record
    [[nodiscard]] const TokenStream<Unit>& rest() const { return numstat_; }

private:
    // Reads a raw record into file_; no, without moving on, if the next token is something else.
    Verdict next_raw_record(TokenStream<Unit>& tokens) {
        TokenStream<Unit> lookahead = tokens;
        Units<Unit> token;
        lookahead.next(token);
        const auto record = without_leading_line_feeds(token);
        if (record.empty() || record.front() != ':') {
            return Verdict::no;
        }
        std::size_t letter_index = record.size();
        while (letter_index > 0 && record[letter_index - 1] != ' ') {
            --letter_index;
        }
        const Unit letter = letter_index == record.size() ? Unit{0} : record[letter_index];
        if (letter >= 0x80) {
            return Verdict::declined;
        }
        file_.letter = static_cast<char>(letter);
        if (names_two_paths(file_.letter)) {
            lookahead.next(file_.old_path);
        }
        lookahead.next(file_.path);
        tokens = lookahead;
        return Verdict::yes;
    }

    // Reads the next numstat record into numstat_record_, skipping tokens that are not records.
    void read_numstat() {
        Units<Unit> token;
        numstat_verdict_ = Verdict::no;
        while (numstat_verdict_ == Verdict::no && numstat_.next(token)) {
            token = without_leading_line_feeds(token);
            Units<Unit> added;
            Units<Unit> deleted;
            if (!token.empty() && token.front() == ':') {
                numstat_verdict_ = Verdict::declined;
            } else if (cut_at_tab(token, added) && cut_at_tab(token, deleted)) {
                numstat_record_.path = token;
                if (token.empty()) {
                    numstat_.next(numstat_record_.path);
                    numstat_.next(numstat_record_.path);
                }
                const bool is_plain = read_count(added, numstat_record_.additions) &&
                                      read_count(deleted, numstat_record_.deletions);
                numstat_verdict_ = is_plain ? Verdict::yes : Verdict::declined;
            }
        }
    }

    // Cuts the field before the first tab, and the tab, off `text`.
    static bool cut_at_tab(Units<Unit>& text, Units<Unit>& field) {
        const auto tab = std::ranges::find(text, Unit{'\t'});
        if (tab == text.end()) {
            return false;
        }
        field = {text.begin(), tab};
        text = {tab + 1, text.end()};
        return true;
    }

    TokenStream<Unit> raw_;
    TokenStream<Unit> numstat_;
    std::size_t count_ = 0;
    ScannedFile<Unit> file_;            // the raw record read last
    ScannedFile<Unit> numstat_record_;  // the numstat record read last
    Verdict numstat_verdict_ = Verdict::no;
};

}  // namespace git_utils::scan
