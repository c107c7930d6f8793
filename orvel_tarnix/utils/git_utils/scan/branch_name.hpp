// Shortening branch names and turning them into directory names. What counts as white space, letter
// or digit is a parameter: that is the interpreter's Unicode database.
#pragma once

#include <array>

#include "scan/units.hpp"

namespace git_utils::scan {

inline constexpr std::array<std::string_view, 4> ref_prefixes = {"refs/heads/", "refs/remotes/",
                                                                 "remotes/", "origin/"};
inline constexpr std::size_t max_directory_name = 100;

// The name without the white space around it and without the ref prefixes at its start
template <class Unit, class IsSpace>
Units<Unit> short_form(Units<Unit> name, IsSpace is_space) {
    while (!name.empty() && is_space(name.front())) {
        name = name.subspan(1);
    }
    while (!name.empty() && is_space(name.back())) {
        name = name.first(name.size() - 1);
    }
    for (bool changed = true; changed;) {
        changed = false;
        for (const std::string_view prefix : ref_prefixes) {
            if (begins_with(name, prefix)) {
                name = name.subspan(prefix.size());
                changed = true;
            }
        }
    }
    return name;
}

// The directory name of a branch, written to the buffer: at most a hundred characters, two for each
// slash or backslash
template <class Unit, class IsAlphanumeric>
Units<Unit> directory_name(Units<Unit> branch, std::span<Unit, max_directory_name + 1> buffer,
                           IsAlphanumeric is_alphanumeric) {
    std::size_t size = 0;
    for (const Unit unit : branch) {
        if (size >= max_directory_name) {
            break;
        }
        const bool is_kept = unit == '-' || unit == '_' || unit == '.' || is_alphanumeric(unit);
        buffer[size++] = is_kept ? unit : Unit{'_'};
        if (unit == '/' || unit == '\\') {
            buffer[size++] = '_';
        }
    }
    return buffer.first(std::min(size, max_directory_name));
}

}  // namespace git_utils::scan
