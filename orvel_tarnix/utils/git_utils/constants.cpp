// The values of the module's constants. Where a native scanner has built in what a constant says,
// the value is made of the scanner's own constants, so that the two cannot differ.
#include <string>

#include "declarations.hpp"
#include "parsing/native/change_scanner.hpp"
#include "parsing/native/patch_scanner.hpp"
#include "parsing/native/quoted_name.hpp"
#include "timespec/relative_spec.hpp"

namespace git_utils::constants {
namespace {

using Entry = std::pair<std::string_view, std::string_view>;

Ref dict_of(std::span<const Entry> entries) {
    Ref dict = empty_dict();
    for (const auto& [key, value] : entries) {
        set_item(dict, text(key), text(value));
    }
    return dict;
}

// re.compile(pattern, flags...)
template <Object... Flags>
Ref pattern(const Module& module, std::string_view pattern, const Flags&... flags) {
    return module.call_method(module["re"_name], "compile"_name, text(pattern), flags...);
}

// The pattern that matches just this text. Of the characters in our texts only these two have a
// meaning of their own in a pattern.
std::string escaped(std::string_view literal) {
    std::string pattern;
    for (const char character : literal) {
        if (character == '+' || character == parsing::escape) {
            pattern += '\\';
        }
        pattern += character;
    }
    return pattern;
}

}  // namespace

Ref logger(const Module& module) {
    const Ref logging = module["logging"_name];
    const Ref get_logger = module.attribute(logging, "getLogger"_name);
    return call(get_logger, module["__name__"_name]);
}

Ref time_spec_forms(const Module& /*module*/) {
    return text(
        "a positive whole number followed by m (minutes), h (hours), d (days) or w (weeks), "
        "such as 7d or 24h, or an ISO date such as 2026-09-01");
}

// (\d+)([mhdw])
Ref relative_spec(const Module& module) {
    std::string letters;
    for (const auto& [letter, keyword] : timespec::units) {
        letters += letter;
    }
    return pattern(module, R"((\d+)([)" + letters + "])");
}

Ref spec_units(const Module& /*module*/) { return dict_of(timespec::units); }

Ref status_by_letter(const Module& /*module*/) {
    return dict_of(std::to_array<Entry>({{"A", "added"},
                                         {"C", "copied"},
                                         {"D", "deleted"},
                                         {"M", "modified"},
                                         {"R", "renamed"},
                                         {"T", "modified"}}));
}

Ref two_path_letters(const Module& /*module*/) {
    return Ref::steal(PyFrozenSet_New(text(parsing::two_path_letters).get()));
}

Ref commit_start(const Module& /*module*/) { return text({&parsing::commit_start, 1}); }

Ref patch_options(const Module& /*module*/) {
    const Ref options =
        list_of({"--no-color", "--no-ext-diff", "--no-textconv", "--no-prefix", "-M", "-U0"});
    return Ref::steal(PyList_AsTuple(options.get()));
}

// @@ -\d+(?:,(\d+))? \+(\d+)(?:,(\d+))? @@
Ref hunk_header(const Module& module) {
    const std::string count = "(?:" + escaped(parsing::before_count) + R"((\d+))?)";
    return pattern(module, escaped(parsing::before_old_range) + R"(\d+)" + count +
                               escaped(parsing::before_new_range) + R"((\d+))" + count +
                               escaped(parsing::behind_ranges));
}

// \\([0-7]{3}|.)
Ref c_escape(const Module& module) {
    const std::string octal = std::string("[0-") + parsing::last_octal_digit + "]{" +
                              std::to_string(parsing::octal_digits) + "}";
    const Ref compile = module.attribute(module["re"_name], "compile"_name);
    const Ref escape = text(escaped({&parsing::escape, 1}) + "(" + octal + "|.)");
    return call(compile, escape, module.attribute(module["re"_name], "DOTALL"_name));
}

Ref c_escapes(const Module& /*module*/) {
    return dict_of(std::to_array<Entry>({{"a", "\a"},
                                         {"b", "\b"},
                                         {"f", "\f"},
                                         {"n", "\n"},
                                         {"r", "\r"},
                                         {"t", "\t"},
                                         {"v", "\v"}}));
}

Ref max_pathspec_chars(const Module& /*module*/) { return integer(16000); }

}  // namespace git_utils::constants
