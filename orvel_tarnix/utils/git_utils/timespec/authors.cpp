// The authors of a period.
#include "declarations.hpp"

namespace git_utils {
namespace {

// text.split(separator, 1)
Ref split_once(const ModuleState& module, Borrowed text, const char* separator) {
    return module.call_method(text, "split"_name, separator, 1);
}

// The author on one line of the summary: the count, a tab, the name and <the address>; nothing for
// a line without a tab.
Ref author_of(const ModuleState& module, Borrowed line) {
    if (!is_in({"\t", line})) {
        return {};
    }
    auto [count, name] = unpack<2>(split_once(module, line, "\t"));
    const Ref commits = as_integer(module.call_method(count, "strip"_name));
    Ref email = text("");
    const auto has = [&rest = name](const char* bracket) { return is_in({bracket, rest}); };
    if (has("<") && has(">")) {
        const auto [author_name, address] = unpack<2>(split_once(module, name, "<"));
        name = module.call_method(author_name, "strip"_name);
        email = item({split_once(module, address, "<"), 0});
        email = item({split_once(module, email, ">"), 0});
    }
    Ref author = empty_dict();
    set_item(author, module.name("name"_name), name);
    set_item(author, module.name("email"_name), email);
    set_item(author, module.name("commits"_name), commits);
    return author;
}

}  // namespace

Ref get_authors_for_period(const ModuleState& module, Borrowed repo_root, Borrowed since) {
    const Ref moment = call({module["parse_time_spec"_name], since});
    const Ref written = module.call_method(moment, "strftime"_name, "%Y-%m-%d %H:%M:%S");
    const Ref args =
        list_of({"shortlog", format_text("--since=%U", {characters_of(written)}), "-sne"});
    const auto [output, errors, code] =
        unpack<3>(call({module["run_git_command"_name], repo_root, args}));
    Ref authors = empty_list();
    if (is_unequal({code, 0})) {
        call({module.attribute(module["logger"_name], "debug"_name),
              "get_authors_for_period: git shortlog failed rc=%s stderr=%s", code,
              module.call_method(errors, "strip"_name)});
        return authors;
    }
    const Ref summary = module.call_method(output, "strip"_name);
    const Ref lines = iterate(module.call_method(summary, "split"_name, "\n"));
    while (const Ref line = next(lines)) {
        if (!is_true(line)) {
            continue;
        }
        if (const Ref author = author_of(module, module.call_method(line, "strip"_name))) {
            append(authors, author);
        }
    }
    return authors;
}

}  // namespace git_utils
