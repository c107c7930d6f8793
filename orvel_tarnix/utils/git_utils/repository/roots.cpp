// Finding the root of a repository.
#include "declarations.hpp"

namespace git_utils {
namespace {

Ref working_directory(const ModuleState& module) {
    return module.call_method(module["Path"_name], "cwd"_name);
}

}  // namespace

Ref find_git_root(const ModuleState& module, Borrowed start) {
    const Ref origin = is(start, Py_None) ? working_directory(module) : Ref::borrow(start.get());
    const Ref current = module.call_method(origin, "absolute"_name);
    const Ref candidates = list_of({current});
    extend(candidates, module.attribute(current, "parents"_name));
    const Ref iterator = iterate(candidates);
    while (Ref candidate = next(iterator)) {
        if (is_true(
                module.call_method(divide({candidate, module.name(".git"_name)}), "exists"_name))) {
            return candidate;
        }
    }
    return none();
}

Ref find_repo_root(const ModuleState& module) {
    const Ref root = call({module["find_git_root"_name]});
    return is_true(root) ? root : working_directory(module);
}

}  // namespace git_utils
