#include "declarations.hpp"

namespace git_utils {
namespace {

// text.split(separator, 1)
Ref split_once(const Module& module, Borrowed text, Borrowed separator) {
    return module.call_method(text, "split"_name, separator, integer(1));
}

// The author of one line of the summary: the count, a tab, the name and <the address>; nothing
// for a line without a tab.
Ref author_of(const Module& module, Borrowed line) {
    const Ref tab = text("\t");
    if (!contains(line, tab)) {
        return {};
    }
    auto [count, name] = unpack<2>(split_once(module, line, tab));
    const Ref commits = as_integer(module.call_method(count, "strip"_name));
    Ref email = text("");
    const Ref opening = text("<");
    const Ref closing = text(">");
    if (contains(name, opening) && contains(name, closing)) {
        const auto [author_name, address] = unpack<2>(split_once(module, name, opening));
        name = module.call_method(author_name, "strip"_name);
        email = item(split_once(module, address, opening), 0);
        email = item(split_once(module, email, closing), 0);
    }
    Ref author = empty_dict();
    set_item(author, module.name("name"_name), name);
    set_item(author, module.name("email"_name), email);
    set_item(author, module.name("commits"_name), commits);
    return author;
}

}  // namespace

Ref get_authors_for_period(const Module& module, Borrowed repo_root, Borrowed since) {
    const Ref moment = call(module["parse_time_spec"_name], since);
    const Ref args = list_of({"shortlog"});
    const Ref written = module.call_method(moment, "strftime"_name, text("%Y-%m-%d %H:%M:%S"));
    append(args, composed("--since=%U", characters_of(written)));
    append(args, text("-sne"));
    const Ref result = call(module["run_git_command"_name], repo_root, args);
    const auto [output, errors, code] = unpack<3>(result);
    Ref authors = empty_list();
    if (differs(code, 0)) {
        const Ref debug = module.attribute(module["logger"_name], "debug"_name);
        call(debug, text("get_authors_for_period: git shortlog failed rc=%s stderr=%s"), code,
             module.call_method(errors, "strip"_name));
        return authors;
    }
    const Ref summary = module.call_method(output, "strip"_name);
    const Ref lines = iterate(module.call_method(summary, "split"_name, text("\n")));
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
