// Finding things in spans of characters. Scanners know no Python objects and never fail.
//
// Nothing in this folder includes the interpreter's header: fuzzers drive it without one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace git_utils {

// Characters in units of one, two or four bytes.
template <class Unit>
using Units = std::span<const Unit>;

// Where `wanted` is first found, or `end`.
template <class Unit>
const Unit* find(const Unit* begin, const Unit* end, char wanted) {
    const auto size = static_cast<std::size_t>(end - begin);
    if constexpr (sizeof(Unit) == 1) {
        const void* found = std::memchr(begin, wanted, size);
        return found == nullptr ? end : static_cast<const Unit*>(found);
    }
    // Blocks without an early exit are what the compiler turns into vector code.
    constexpr std::ptrdiff_t block = 32 / sizeof(Unit);
    const auto target = static_cast<Unit>(static_cast<unsigned char>(wanted));
    for (; end - begin >= block; begin += block) {
        Unit hits = 0;
        for (std::ptrdiff_t i = 0; i < block; ++i) {
            hits |= static_cast<Unit>(begin[i] == target);
        }
        if (hits != 0) {
            break;
        }
    }
    return std::find(begin, end, target);
}

template <class Unit>
bool starts_with(Units<Unit> text, std::string_view prefix) {
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin());
}

template <class Unit>
bool equals(Units<Unit> text, std::string_view other) {
    return text.size() == other.size() && starts_with(text, other);
}

// The text without the line feeds that it begins with.
template <class Unit>
Units<Unit> without_leading_feeds(Units<Unit> text) {
    while (!text.empty() && text.front() == '\n') {
        text = text.subspan(1);
    }
    return text;
}

// An answer; undecided where only the interpreter can tell, as it knows the digits beyond ASCII.
enum class Verdict { undecided, no, yes };

// Reads a number of at most 18 ASCII digits from the front of `text` and cuts it off there. More
// digits, or a character beyond ASCII that might be a digit too, are for the interpreter.
template <class Unit>
Verdict read_number(Units<Unit>& text, std::int64_t& number) {
    constexpr std::size_t max_digits = 18;
    std::size_t digits = 0;
    number = 0;
    for (; digits < text.size(); ++digits) {
        const Unit unit = text[digits];
        if (unit < '0' || unit > '9') {
            if (unit >= 0x80) {
                return Verdict::undecided;
            }
            break;
        }
        if (digits == max_digits) {
            return Verdict::undecided;
        }
        number = number * 10 + (unit - '0');
    }
    text = text.subspan(digits);
    return digits == 0 ? Verdict::no : Verdict::yes;
}

}  // namespace git_utils
