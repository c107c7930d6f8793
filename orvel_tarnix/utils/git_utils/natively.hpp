// The two ways through a function that reads text.
//
// The native way reads what git really prints, straight from the text's characters. It runs no
// foreign code and declines (answers with nothing) whatever else it meets: an object that is no
// plain str, a name that is rebound, a number past 18 digits, a digit that is not ASCII. The
// general way then does from the start what the Python statements would do. As a native attempt
// leaves no trace, nobody can tell which way was taken.
//
// The native way does the work of other module-level names without looking them up. Each list below
// has the names that one function so stands in for: it may do so only as long as what they are
// bound to is what the import made. The import remembers the names of all lists.
#pragma once

#include "capi/module.hpp"
#include "capi/text.hpp"

namespace git_utils {

namespace uses {

template <std::size_t left, std::size_t right>
consteval auto both(const std::array<Name, left>& first, const std::array<Name, right>& second) {
    std::array<Name, left + right> joined{};
    std::ranges::copy(second, std::ranges::copy(first, joined.begin()).out);
    return joined;
}

inline constexpr std::array<Name, 0> nothing{};
inline constexpr std::array relative_spec{"_RELATIVE_SPEC"_name};
inline constexpr std::array file_changes{"_file_changes"_name, "_line_count"_name,
                                         "_TWO_PATH_LETTERS"_name, "_STATUS_BY_LETTER"_name,
                                         "FileChange"_name};
inline constexpr auto commit_changes =
    both(file_changes, std::array{"_COMMIT_START"_name, "CommitChanges"_name});
inline constexpr std::array unquote{"_C_ESCAPE"_name, "_C_ESCAPES"_name};
inline constexpr auto line_spans =
    both(unquote, std::array{"_HUNK_HEADER"_name, "_span"_name, "LineSpan"_name, "_patch_path"_name,
                             "_unquote"_name});

// What the import remembers.
inline constexpr auto all = both(relative_spec, both(commit_changes, line_spans));

consteval bool holds_all_of(std::span<const Name> wanted) {
    return std::ranges::all_of(
        wanted, [](Name name) { return std::ranges::count(all, name.index, &Name::index) != 0; });
}

}  // namespace uses

// What `read` answers when it is called with the characters of the text. It is not called, and the
// answer is nothing, when the text is no plain str or one of the names in `used` is modified.
template <const auto& used, class Read>
auto natively(const Module& module, Borrowed text, Read read) {
    // The check takes what a template puts here for parentheses.
    // NOLINTNEXTLINE(readability-redundant-parentheses)
    constexpr std::span<const Name> names = used;
    static_assert(uses::holds_all_of(names), "uses::all lacks a name that is used natively");
    using Result = decltype(read(std::span<const Py_UCS1>()));
    if (!PyUnicode_CheckExact(text.get()) || !module.are_unmodified(names)) {
        return Result{};
    }
    return with_text(text, read);
}

}  // namespace git_utils
