#include <array>
#include <string_view>

#include "declarations.hpp"
#include "natively.hpp"
#include "parsing/native/scan.hpp"

namespace git_utils {
namespace {

constexpr std::array<std::string_view, 4> ref_prefixes = {"refs/heads/", "refs/remotes/",
                                                          "remotes/", "origin/"};
constexpr std::size_t max_directory_name = 100;

// The name without white space around it and without what precedes its short form.
template <class Unit>
Units<Unit> short_form(Units<Unit> name) {
    while (!name.empty() && Py_UNICODE_ISSPACE(name.front())) {
        name = name.subspan(1);
    }
    while (!name.empty() && Py_UNICODE_ISSPACE(name.back())) {
        name = name.first(name.size() - 1);
    }
    for (bool changed = true; changed;) {
        changed = false;
        for (const std::string_view prefix : ref_prefixes) {
            if (starts_with(name, prefix)) {
                name = name.subspan(prefix.size());
                changed = true;
            }
        }
    }
    return name;
}

Ref short_form_in_general(const Module& module, Borrowed name) {
    Ref rest = module.call_method(name, "strip"_name);
    for (bool changed = true; changed;) {
        changed = false;
        for (const std::string_view prefix : ref_prefixes) {
            if (is_true(module.call_method(rest, "startswith"_name, text(prefix)))) {
                rest = slice_from(rest, static_cast<Py_ssize_t>(prefix.size()));
                changed = true;
            }
        }
    }
    return rest;
}

bool is_kept(Py_UCS4 character) {
    return character == '-' || character == '_' || character == '.' ||
           Py_UNICODE_ISALNUM(character) != 0;
}

// The directory name of a branch; each slash or backslash gives two of the characters.
template <class Unit>
Ref directory_name(Units<Unit> branch) {
    std::array<Py_UCS4, max_directory_name + 1> name;
    std::size_t size = 0;
    for (const Unit unit : branch) {
        if (size >= max_directory_name) {
            break;
        }
        name[size++] = is_kept(unit) ? Py_UCS4{unit} : Py_UCS4{'_'};
        if (unit == '/' || unit == '\\') {
            name[size++] = '_';
        }
    }
    return to_str(Units<Py_UCS4>(name.data(), std::min(size, max_directory_name)));
}

Ref directory_name_in_general(const Module& module, Borrowed branch) {
    const Ref underscores = text("__");
    Ref name = module.call_method(branch, "replace"_name, text("/"), underscores);
    name = module.call_method(name, "replace"_name, text("\\"), underscores);
    const Ref kept = text("-_.");
    const Ref parts = empty_list();
    const Ref characters = iterate(name);
    while (const Ref character = next(characters)) {
        const bool keep =
            is_true(module.call_method(character, "isalnum"_name)) || contains(kept, character);
        append(parts, keep ? character : text("_"));
    }
    const Ref joined = Ref::steal(PyUnicode_Join(text("").get(), parts.get()));
    return slice(joined, nullptr, integer(max_directory_name));
}

}  // namespace

Ref resolve_display_branch(const Module& module, Borrowed repo_root) {
    const Ref run = module["run_git_command"_name];
    const Ref result = call(run, repo_root, list_of({"branch", "--show-current"}));
    const auto [output, errors, code] = unpack<3>(result);
    if (equals(code, 0)) {
        Ref branch = module.call_method(output, "strip"_name);
        if (is_true(branch)) {
            return branch;
        }
    }
    return none();
}

Ref normalize_branch_name(const Module& module, Borrowed name) {
    if (!is_true(name)) {
        return none();
    }
    Ref rest = natively<uses::nothing>(
        module, name, [&](auto units) { return part_of(name, short_form(units)); });
    if (!rest) {
        rest = short_form_in_general(module, name);
    }
    return is_true(rest) ? rest : none();
}

Ref sanitize_branch_name(const Module& module, Borrowed branch) {
    Ref name =
        natively<uses::nothing>(module, branch, [](auto units) { return directory_name(units); });
    if (!name) {
        name = directory_name_in_general(module, branch);
    }
    return is_true(name) ? name : text("default");
}

Ref wiki_root(const Module& module, Borrowed repo_root) {
    const Ref memory = divide(repo_root, module.name("memory"_name));
    return divide(memory, module.name("lore-book"_name));
}

Ref wiki_directory(const Module& module, Borrowed repo_root, Borrowed branch) {
    const Ref root = call(module["wiki_root"_name], repo_root);
    const Ref name = call(module["sanitize_branch_name"_name], branch);
    return divide(root, name);
}

}  // namespace git_utils
