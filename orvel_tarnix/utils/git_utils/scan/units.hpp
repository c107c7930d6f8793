// The lowest layer: scanners of characters. They know nothing of Python and never raise, since
// malformed git output is data, and nothing in this folder includes Python.h, so that fuzz targets
// drive it without an interpreter. This file has what the scanners share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <span>
#include <string_view>

namespace git_utils::scan {

// Characters in units of one, two or four bytes.
template <class Unit>
using Units = std::span<const Unit>;

// The first `wanted`, or `end`.
template <class Unit>
const Unit* find(const Unit* begin, const Unit* end, char wanted) {
    const auto size = static_cast<std::size_t>(end - begin);
    // The C library's own searches are the fastest where there is one for units of this size.
    if constexpr (sizeof(Unit) == 1) {
        const void* found = std::memchr(begin, wanted, size);
        return found == nullptr ? end : static_cast<const Unit*>(found);
    } else if constexpr (sizeof(Unit) == sizeof(wchar_t)) {
        const auto target = static_cast<wchar_t>(wanted);
        const void* found = std::wmemchr(reinterpret_cast<const wchar_t*>(begin), target, size);
        return found == nullptr ? end : static_cast<const Unit*>(found);
    }
    // Blocks without an early exit are what the compiler turns into vector code.
    constexpr std::ptrdiff_t block = 64 / sizeof(Unit);
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
bool begins_with(Units<Unit> text, std::string_view prefix) {
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin());
}

template <class Unit>
bool spells(Units<Unit> text, std::string_view other) {
    return text.size() == other.size() && begins_with(text, other);
}

// text.lstrip("\n")
template <class Unit>
Units<Unit> without_leading_line_feeds(Units<Unit> text) {
    while (!text.empty() && text.front() == '\n') {
        text = text.subspan(1);
    }
    return text;
}

// Declined if only the fallback can decide, as for digits beyond ASCII or an unusual order
enum class Verdict { declined, no, yes };

// Cuts a number of at most 18 ASCII digits, which fit in 64 bits, off the front of `text`.
// Declined for more digits and for a character beyond ASCII, which may be a digit too.
template <class Unit>
Verdict read_number(Units<Unit>& text, std::int64_t& number) {
    constexpr std::size_t max_digits = 18;
    std::size_t digits = 0;
    number = 0;
    for (; digits < text.size(); ++digits) {
        const Unit unit = text[digits];
        if (unit < '0' || unit > '9') {
            if (unit >= 0x80) {
                return Verdict::declined;
            }
            break;
        }
        if (digits == max_digits) {
            return Verdict::declined;
        }
        number = number * 10 + (unit - '0');
    }
    text = text.subspan(digits);
    return digits == 0 ? Verdict::no : Verdict::yes;
}

}  // namespace git_utils::scan
