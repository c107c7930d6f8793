#include "timespec/timespec.hpp"

namespace git_utils::timespec {
namespace {

bool contains(PyObject* text, PyObject* part) {
    return check(PySequence_Contains(text, part)) != 0;
}

// text.split(separator, 1)
Ref split_once(const Module& module, PyObject* text, PyObject* separator) {
    const Ref once = Ref::steal(PyLong_FromLong(1));
    return module.call_method(text, "split"_name, separator, once.get());
}

// The author of one line of the summary: the count, a tab, the name and <the address>; nothing
// for a line without a tab.
Ref author_of(const Module& module, PyObject* line) {
    const Ref tab = text("\t");
    if (!contains(line, tab.get())) {
        return {};
    }
    const Ref columns = split_once(module, line, tab.get());
    const Ref count = module.call_method(item(columns.get(), 0).get(), "strip"_name);
    const Ref commits = Ref::steal(PyNumber_Long(count.get()));
    Ref name = item(columns.get(), 1);
    Ref email = text("");
    const Ref opening = text("<");
    const Ref closing = text(">");
    if (contains(name.get(), opening.get()) && contains(name.get(), closing.get())) {
        const Ref parts = split_once(module, name.get(), opening.get());
        name = module.call_method(item(parts.get(), 0).get(), "strip"_name);
        email = item(split_once(module, item(parts.get(), 1).get(), opening.get()).get(), 0);
        email = item(split_once(module, email.get(), closing.get()).get(), 0);
    }
    Ref author = Ref::steal(PyDict_New());
    check(PyDict_SetItem(author.get(), module.name("name"_name), name.get()));
    check(PyDict_SetItem(author.get(), module.name("email"_name), email.get()));
    check(PyDict_SetItem(author.get(), module.name("commits"_name), commits.get()));
    return author;
}

}  // namespace

Ref get_authors_for_period(const Module& module, PyObject* repo_root, PyObject* since) {
    const Ref moment = call(module["parse_time_spec"_name].get(), since);
    const Ref written =
        module.call_method(moment.get(), "strftime"_name, text("%Y-%m-%d %H:%M:%S").get());
    const Ref args = list_of({text("shortlog").get(),
                              Ref::steal(PyUnicode_FromFormat("--since=%S", written.get())).get(),
                              text("-sne").get()});
    const Ref result = call(module["run_git_command"_name].get(), repo_root, args.get());
    const auto [output, errors, code] = unpack_three(result.get());
    Ref authors = Ref::steal(PyList_New(0));
    if (!equals(code.get(), 0)) {
        const Ref debug = module.attribute(module["logger"_name].get(), "debug"_name);
        const Ref said = module.call_method(errors.get(), "strip"_name);
        call(debug.get(), text("get_authors_for_period: git shortlog failed rc=%s stderr=%s").get(),
             code.get(), said.get());
        return authors;
    }
    const Ref summary = module.call_method(output.get(), "strip"_name);
    const Ref lines = module.call_method(summary.get(), "split"_name, text("\n").get());
    const Ref iterator = Ref::steal(PyObject_GetIter(lines.get()));
    while (const Ref line = next(iterator.get())) {
        const Ref stripped = module.call_method(line.get(), "strip"_name);
        if (const Ref author = author_of(module, stripped.get())) {
            check(PyList_Append(authors.get(), author.get()));
        }
    }
    return authors;
}

}  // namespace git_utils::timespec
