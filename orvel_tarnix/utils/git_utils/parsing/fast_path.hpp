// The fast paths of the parsers.
//
// A fast path handles what git really prints, straight from the characters of a plain str, and runs
// no foreign code. It declines any other input by returning nothing, and leaves no trace; the
// fallback then executes the Python statements from the start. Callers cannot tell which one ran.
#pragma once

#include "capi/characters.hpp"
#include "capi/module_state.hpp"

namespace git_utils {

// The guards of each fast path: the module-level names whose work it does without looking them up.
// It may run only while all of them are unmodified. `all` lists the guards of every fast path; the
// import takes a snapshot of each.
namespace guards {

template <std::size_t left, std::size_t right>
consteval auto joined(const std::array<Name, left>& first, const std::array<Name, right>& second) {
    std::array<Name, left + right> both{};
    std::ranges::copy(second, std::ranges::copy(first, both.begin()).out);
    return both;
}

inline constexpr std::array file_changes{"_file_changes"_name, "_line_count"_name,
                                         "_TWO_PATH_LETTERS"_name, "_STATUS_BY_LETTER"_name,
                                         "FileChange"_name};
inline constexpr auto commit_changes =
    joined(file_changes, std::array{"_COMMIT_START"_name, "CommitChanges"_name});
inline constexpr std::array line_spans{"_HUNK_HEADER"_name, "_span"_name,    "LineSpan"_name,
                                       "_patch_path"_name,  "_unquote"_name, "_C_ESCAPE"_name,
                                       "_C_ESCAPES"_name};

inline constexpr auto all = joined(commit_changes, line_spans);

consteval bool includes(std::span<const Name> names) {
    return std::ranges::all_of(
        names, [](Name name) { return std::ranges::count(all, name.index, &Name::index) != 0; });
}

}  // namespace guards

// read(characters of the text), unless the text is not exactly a str or a guard is modified.
template <const auto& own_guards, class Read>
auto fast_path(const ModuleState& module, Borrowed text, Read read) {
    constexpr std::span<const Name> names = own_guards;  // NOLINT(*-redundant-parentheses)
    static_assert(guards::includes(names), "guards::all lacks the guards of a fast path");
    using Result = decltype(read(std::span<const Py_UCS1>()));
    return module.are_unmodified(names) ? read_exact_str(text, read) : Result{};
}

}  // namespace git_utils
