// Recognising a relative time spec: a whole number and a unit.
#pragma once

#include <array>
#include <utility>

#include "parsing/native/scan.hpp"

namespace git_utils::timespec {

// The letters of _SPEC_UNITS, and the keyword of timedelta that each stands for.
inline constexpr std::array<std::pair<std::string_view, std::string_view>, 4> units = {
    {{"m", "minutes"}, {"h", "hours"}, {"d", "days"}, {"w", "weeks"}}};

// Reads what the pattern _RELATIVE_SPEC matches as a whole, and leaves the unit of the spec.
template <class Unit>
Verdict read_relative_spec(Units<Unit>& spec, std::int64_t& amount) {
    const Verdict verdict = read_number(spec, amount);
    if (verdict != Verdict::yes) {
        return verdict;
    }
    const bool has_unit =
        std::ranges::any_of(units, [&](const auto& unit) { return equals(spec, unit.first); });
    return has_unit ? Verdict::yes : Verdict::no;
}

}  // namespace git_utils::timespec
