#include <algorithm>
#include <array>
#include <string_view>

#include "repository/repository.hpp"
#include "text/scan.hpp"
#include "text/units.hpp"

namespace git_utils::repository {
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

// The same of an object that is no plain str.
Ref short_form(const Module& module, PyObject* name) {
    Ref rest = module.call_method(name, "strip"_name);
    for (bool changed = true; changed;) {
        changed = false;
        for (const std::string_view prefix : ref_prefixes) {
            if (is_true(
                    module.call_method(rest.get(), "startswith"_name, text(prefix.data()).get()))) {
                rest = slice(rest.get(), static_cast<Py_ssize_t>(prefix.size()), to_the_end);
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

// The same of an object that is no plain str.
Ref directory_name(const Module& module, PyObject* branch) {
    const Ref underscores = text("__");
    Ref name = module.call_method(branch, "replace"_name, text("/").get(), underscores.get());
    name = module.call_method(name.get(), "replace"_name, text("\\").get(), underscores.get());
    const Ref kept = text("-_.");
    const Ref parts = Ref::steal(PyList_New(0));
    const Ref characters = Ref::steal(PyObject_GetIter(name.get()));
    while (const Ref character = next(characters.get())) {
        const bool keep = is_true(module.call_method(character.get(), "isalnum"_name)) ||
                          check(PySequence_Contains(kept.get(), character.get())) != 0;
        check(PyList_Append(parts.get(), keep ? character.get() : text("_").get()));
    }
    const Ref joined = Ref::steal(PyUnicode_Join(text("").get(), parts.get()));
    return slice(joined.get(), 0, max_directory_name);
}

}  // namespace

Ref resolve_display_branch(const Module& module, PyObject* repo_root) {
    const Ref args = list_of_texts({"branch", "--show-current"});
    const Ref result = call(module["run_git_command"_name].get(), repo_root, args.get());
    const auto [output, errors, code] = unpack_three(result.get());
    if (equals(code.get(), 0)) {
        Ref branch = module.call_method(output.get(), "strip"_name);
        if (is_true(branch)) {
            return branch;
        }
    }
    return Ref::borrow(Py_None);
}

Ref normalize_branch_name(const Module& module, PyObject* name) {
    if (!is_true(name)) {
        return Ref::borrow(Py_None);
    }
    const Ref rest = PyUnicode_CheckExact(name)
                         ? with_text(name, [](auto units) { return to_str(short_form(units)); })
                         : short_form(module, name);
    return is_true(rest) ? rest : Ref::borrow(Py_None);
}

Ref sanitize_branch_name(const Module& module, PyObject* branch) {
    const Ref name = PyUnicode_CheckExact(branch)
                         ? with_text(branch, [](auto units) { return directory_name(units); })
                         : directory_name(module, branch);
    return is_true(name) ? name : text("default");
}

Ref wiki_root(const Module& module, PyObject* repo_root) {
    const Ref memory = Ref::steal(PyNumber_TrueDivide(repo_root, module.name("memory"_name)));
    return Ref::steal(PyNumber_TrueDivide(memory.get(), module.name("lore-book"_name)));
}

Ref wiki_directory(const Module& module, PyObject* repo_root, PyObject* branch) {
    const Ref root = call(module["wiki_root"_name].get(), repo_root);
    const Ref name = call(module["sanitize_branch_name"_name].get(), branch);
    return Ref::steal(PyNumber_TrueDivide(root.get(), name.get()));
}

}  // namespace git_utils::repository
