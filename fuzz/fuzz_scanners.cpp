// Searches for texts that a scanner reads differently in different storage, or differently from a
// plain reading line by line. Run by `make fuzz-scanners`, without an interpreter, at tens of
// thousands of texts a second.
//
// The first byte of an input selects the scanner. The rest is the text, scanned in units of one,
// two and four bytes, and again in two and four with wide characters in place of the highest bytes.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "scan/branch_name.hpp"
#include "scan/change_scanner.hpp"
#include "scan/patch_scanner.hpp"
#include "scan/quoted_name.hpp"

namespace {

using namespace git_utils::scan;

// What a scanner found: positions in the text, numbers and verdicts, one after the other
using Pieces = std::vector<std::int64_t>;

template <class Unit>
class Finder {
public:
    explicit Finder(Units<Unit> text) : text_(text) {}

    void files() { files_of(TokenStream<Unit>(text_)); }

    void commits() {
        TokenStream<Unit> tokens(text_);
        Units<Unit> token;
        while (tokens.next(token)) {
            std::int64_t timestamp = 0;
            const Verdict verdict = read_commit_header(token, timestamp);
            add(verdict);
            if (verdict == Verdict::yes) {
                pieces_.push_back(timestamp);
                tokens.continue_after(files_of(tokens.of_this_commit()));
            }
        }
    }

    void hunks() {
        PatchScanner<Unit> scanner(text_);
        Units<Unit> line;
        while (scanner.next_line(line) && add_line(line)) {
            HunkHeader hunk;
            if (read_hunk_header(line, hunk) == Verdict::yes) {
                scanner.skip_hunk(hunk.old_count, hunk.new_count);
            }
        }
    }

    // The same without the scanner, line by line
    void hunks_line_by_line() {
        std::int64_t old_left = 0;
        std::int64_t new_left = 0;
        for (std::size_t at = 0; at < text_.size();) {
            const auto end =
                std::find(text_.begin() + static_cast<std::ptrdiff_t>(at), text_.end(), Unit{'\n'});
            const auto size = static_cast<std::size_t>(end - text_.begin()) - at;
            const Units<Unit> line = text_.subspan(at, size);
            at += size + 1;
            if (old_left > 0 || new_left > 0) {
                const Unit kind = line.empty() ? Unit{0} : line.front();
                old_left -= kind == '-' || kind == ' ' ? 1 : 0;
                new_left -= kind == '+' || kind == ' ' ? 1 : 0;
                continue;
            }
            if (!add_line(line)) {
                return;
            }
            HunkHeader hunk;
            if (read_hunk_header(line, hunk) == Verdict::yes) {
                old_left = hunk.old_count;
                new_left = hunk.new_count;
            }
        }
    }

    void name() {
        Units<Unit> text = text_;
        pieces_.push_back(static_cast<std::int64_t>(trim_name(text)));
        std::string bytes;
        const auto append = [&](char32_t letter) { return append_utf8(bytes, letter); };
        pieces_.push_back(unquote(text, bytes, append) ? 1 : 0);
        pieces_.insert(pieces_.end(), bytes.begin(), bytes.end());
    }

    void branch() {
        add(short_form(text_, [](Unit unit) { return unit == ' ' || unit == 0x85; }));
        std::array<Unit, max_directory_name + 1> buffer;
        const auto is_alphanumeric = [](Unit unit) { return unit >= '0' && unit <= 'z'; };
        for (const Unit unit : directory_name(text_, std::span(buffer), is_alphanumeric)) {
            pieces_.push_back(static_cast<std::int64_t>(unit));
        }
    }

    [[nodiscard]] const Pieces& pieces() const { return pieces_; }

private:
    TokenStream<Unit> files_of(TokenStream<Unit> tokens) {
        ChangeScanner<Unit> scanner(tokens);
        ScannedFile<Unit> file;
        Verdict verdict = scanner.next(file);
        for (; verdict == Verdict::yes; verdict = scanner.next(file)) {
            add(file.path);
            add(names_two_paths(file.letter) ? file.old_path : Units<Unit>());
            pieces_.insert(pieces_.end(), {file.letter, file.additions, file.deletions});
        }
        add(verdict);
        pieces_.push_back(static_cast<std::int64_t>(scanner.count()));
        return scanner.rest();
    }

    // What a line outside of a hunk is; false where the fast path declines.
    bool add_line(Units<Unit> line) {
        add(line);
        HunkHeader hunk;
        const Verdict verdict = read_hunk_header(line, hunk);
        add(verdict);
        if (verdict == Verdict::yes) {
            const Span span = span_of(hunk);
            pieces_.insert(pieces_.end(), {span.start, span.end, span.added ? 1 : 0});
        }
        return verdict != Verdict::declined;
    }

    void add(Verdict verdict) { pieces_.push_back(static_cast<std::int64_t>(verdict)); }
    void add(Units<Unit> piece) {
        pieces_.push_back(piece.empty() ? -1 : piece.data() - text_.data());
        pieces_.push_back(static_cast<std::int64_t>(piece.size()));
    }

    Units<Unit> text_;
    Pieces pieces_;
};

template <class Unit>
Pieces pieces_of(unsigned scanner, const std::u32string& text) {
    const std::vector<Unit> units(text.begin(), text.end());
    Finder<Unit> finder{Units<Unit>(units)};
    switch (scanner) {
        case 0:
            finder.files();
            break;
        case 1:
            finder.commits();
            break;
        case 2:
            finder.hunks();
            break;
        case 3:
            finder.name();
            break;
        default:
            finder.branch();
    }
    if (scanner == 2) {
        Finder<Unit> plain{Units<Unit>(units)};
        plain.hunks_line_by_line();
        if (plain.pieces() != finder.pieces()) {
            std::fputs("the scanner finds other hunks than a plain reading\n", stderr);
            std::abort();
        }
    }
    return finder.pieces();
}

// Characters that scanners look for when narrowed to a byte, the edges of the one- to four-byte
// forms of UTF-8, and surrogates
constexpr char32_t wide_characters[] = {0x10A, 0x109, 0x100, 0x13A,  0x120,  0x11E,  0x12B,  0x12D,
                                        0x130, 0x7FF, 0x800, 0xD800, 0xDFFF, 0xFFFF, 0x2B2B, 0x660};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const unsigned scanner = data[0] % 5;
    std::u32string text(data + 1, data + size);
    const Pieces narrow = pieces_of<std::uint8_t>(scanner, text);
    const bool all_same = narrow == pieces_of<std::uint16_t>(scanner, text) &&
                          narrow == pieces_of<std::uint32_t>(scanner, text);
    for (char32_t& character : text) {
        character = character >= 0xF0 ? wide_characters[character - 0xF0] : character;
    }
    if (!all_same ||
        pieces_of<std::uint16_t>(scanner, text) != pieces_of<std::uint32_t>(scanner, text)) {
        std::fputs("the storage of the text makes a difference\n", stderr);
        std::abort();
    }
    return 0;
}
