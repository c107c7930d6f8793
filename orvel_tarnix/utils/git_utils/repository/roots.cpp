#include "repository/repository.hpp"

namespace git_utils::repository {
namespace {

Ref working_directory(const Module& module) {
    return module.call_method(module["Path"_name].get(), "cwd"_name);
}

}  // namespace

Ref find_git_root(const Module& module, PyObject* start) {
    const Ref origin = start == Py_None ? working_directory(module) : Ref::borrow(start);
    const Ref current = module.call_method(origin.get(), "absolute"_name);
    const Ref candidates = list_of({current.get()});
    extend(candidates.get(), module.attribute(current.get(), "parents"_name).get());
    for (Py_ssize_t i = 0; i < PyList_GET_SIZE(candidates.get()); ++i) {
        Ref candidate = Ref::borrow(PyList_GET_ITEM(candidates.get(), i));
        const Ref entry =
            Ref::steal(PyNumber_TrueDivide(candidate.get(), module.name(".git"_name)));
        if (is_true(module.call_method(entry.get(), "exists"_name))) {
            return candidate;
        }
    }
    return Ref::borrow(Py_None);
}

Ref find_repo_root(const Module& module) {
    const Ref root = call(module["find_git_root"_name].get());
    return is_true(root) ? root : working_directory(module);
}

}  // namespace git_utils::repository
