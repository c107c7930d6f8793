// Names of branches, and the wiki's directories that are named after them.
#include "capi/characters.hpp"
#include "declarations.hpp"
#include "scan/branch_name.hpp"

namespace git_utils {
namespace {

// The substring; the str itself if nothing was cut off, as str.strip() does.
template <class Unit>
Ref part_of(Borrowed str, scan::Units<Unit> units) {
    const bool is_whole = std::cmp_equal(units.size(), PyUnicode_GET_LENGTH(str.get()));
    return is_whole ? Ref::borrow(str.get()) : to_str(units);
}

Ref short_form(const ModuleState& module, Borrowed name) {
    const auto is_space = [](Py_UCS4 character) { return Py_UNICODE_ISSPACE(character) != 0; };
    if (Ref rest = read_exact_str(name, [&](auto characters) {
            return part_of(name, scan::short_form(characters, is_space));
        })) {
        return rest;
    }
    Ref rest = module.call_method(name, "strip"_name);
    for (bool changed = true; changed;) {
        changed = false;
        for (const std::string_view prefix : scan::ref_prefixes) {
            if (is_true(module.call_method(rest, "startswith"_name, prefix))) {
                rest = slice(rest, {static_cast<int>(prefix.size()), Py_None});
                changed = true;
            }
        }
    }
    return rest;
}

Ref directory_name(const ModuleState& module, Borrowed branch) {
    const auto is_alphanumeric = [](Py_UCS4 each) { return Py_UNICODE_ISALNUM(each) != 0; };
    if (Ref name = read_exact_str(branch, [&]<class Unit>(scan::Units<Unit> characters) {
            std::array<Unit, scan::max_directory_name + 1> buffer;
            return to_str(scan::directory_name(characters, std::span(buffer), is_alphanumeric));
        })) {
        return name;
    }
    Ref name = module.call_method(branch, "replace"_name, "/", "__");
    name = module.call_method(name, "replace"_name, "\\", "__");
    const auto is_punctuation = [](Borrowed each) { return is_in({each, "-_."}); };
    const auto is_kept = [&](Borrowed each) {
        return is_true(module.call_method(each, "isalnum"_name)) || is_punctuation(each);
    };
    const Ref parts = empty_list();
    const Ref characters = iterate(name);
    while (const Ref character = next(characters)) {
        append(parts, is_kept(character) ? character : text("_"));
    }
    const Ref joined = Ref::steal(PyUnicode_Join(text("").get(), parts.get()));
    return slice(joined, {Py_None, static_cast<int>(scan::max_directory_name)});
}

}  // namespace

Ref resolve_display_branch(const ModuleState& module, Borrowed repo_root) {
    const auto [output, errors, code] = unpack<3>(
        call({module["run_git_command"_name], repo_root, list_of({"branch", "--show-current"})}));
    const Ref branch = is_equal({code, 0}) ? module.call_method(output, "strip"_name) : none();
    return is_true(branch) ? branch : none();
}

Ref normalize_branch_name(const ModuleState& module, Borrowed name) {
    if (!is_true(name)) {
        return none();
    }
    const Ref rest = short_form(module, name);
    return is_true(rest) ? rest : none();
}

Ref sanitize_branch_name(const ModuleState& module, Borrowed branch) {
    const Ref name = directory_name(module, branch);
    return is_true(name) ? name : text("default");
}

Ref wiki_root(const ModuleState& /*module*/, Borrowed repo_root) {
    return divide({divide({repo_root, "memory"}), "lore-book"});
}

Ref wiki_directory(const ModuleState& module, Borrowed repo_root, Borrowed branch) {
    return divide({call({module["wiki_root"_name], repo_root}),
                   call({module["sanitize_branch_name"_name], branch})});
}

}  // namespace git_utils
