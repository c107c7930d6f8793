// The strings that native code looks up or calls by; a Module holds each of them interned.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace git_utils {

// The build collects them from the literals below, wherever such a literal stands.
inline constexpr auto name_spellings = std::to_array<std::string_view>({
#include "names_in_use.inc"
});

struct Name {
    std::size_t index;
};

template <std::size_t size>
struct NameLiteral {
    // Implicit, so that a literal can be the operator's argument.
    // NOLINTNEXTLINE(google-explicit-constructor)
    consteval NameLiteral(const char (&literal)[size]) { std::copy_n(literal, size, text); }
    char text[size]{};
};

// "split"_name
template <NameLiteral literal>
constexpr Name operator""_name() {
    constexpr auto found = std::ranges::find(name_spellings, std::string_view(literal.text));
    static_assert(found != name_spellings.end(), "no such name");
    return Name{static_cast<std::size_t>(found - name_spellings.begin())};
}

}  // namespace git_utils
