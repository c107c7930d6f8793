// The values of the module's constants. Those that a scanner implements are declared beside it.
#include "declarations.hpp"
#include "scan/change_scanner.hpp"
#include "scan/patch_scanner.hpp"
#include "scan/quoted_name.hpp"

namespace git_utils::constants {
namespace {

using Entry = std::pair<const char*, const char*>;

Ref dict_of(std::initializer_list<Entry> entries) {
    Ref dict = empty_dict();
    for (const auto& [key, value] : entries) {
        set_item(dict, text(key), text(value));
    }
    return dict;
}

}  // namespace

Ref logger(const ModuleState& module) {
    return call(
        {module.attribute(module["logging"_name], "getLogger"_name), module["__name__"_name]});
}

Ref time_spec_forms(const ModuleState& /*module*/) {
    return text(
        "a positive whole number followed by m (minutes), h (hours), d (days) or w (weeks), "
        "such as 7d or 24h, or an ISO date such as 2026-09-01");
}

Ref relative_spec(const ModuleState& module) {
    return module.call_method(module["re"_name], "compile"_name, R"((\d+)([mhdw]))");
}

Ref spec_units(const ModuleState& /*module*/) {
    return dict_of({{"m", "minutes"}, {"h", "hours"}, {"d", "days"}, {"w", "weeks"}});
}

Ref status_by_letter(const ModuleState& /*module*/) {
    return dict_of({{"A", "added"},
                    {"C", "copied"},
                    {"D", "deleted"},
                    {"M", "modified"},
                    {"R", "renamed"},
                    {"T", "modified"}});
}

Ref two_path_letters(const ModuleState& /*module*/) {
    return Ref::steal(PyFrozenSet_New(text(scan::two_path_letters).get()));
}

Ref commit_start(const ModuleState& /*module*/) { return text({&scan::commit_start, 1}); }

Ref patch_options(const ModuleState& /*module*/) {
    return tuple_of({"--no-color", "--no-ext-diff", "--no-textconv", "--no-prefix", "-M", "-U0"});
}

Ref hunk_header(const ModuleState& module) {
    return module.call_method(module["re"_name], "compile"_name, scan::hunk_header_pattern);
}

Ref c_escape(const ModuleState& module) {
    return call({module.attribute(module["re"_name], "compile"_name), scan::c_escape_pattern,
                 module.attribute(module["re"_name], "DOTALL"_name)});
}

Ref c_escapes(const ModuleState& /*module*/) {
    return dict_of({{"a", "\a"},
                    {"b", "\b"},
                    {"f", "\f"},
                    {"n", "\n"},
                    {"r", "\r"},
                    {"t", "\t"},
                    {"v", "\v"}});
}

Ref max_pathspec_chars(const ModuleState& /*module*/) { return integer(16000); }

}  // namespace git_utils::constants
