#include "declarations.hpp"

namespace git_utils {
namespace {

// Puts paths into batches, a new one whenever the last one is full.
class Batches {
public:
    Batches() { begin_batch(); }

    void begin_batch() {
        batch_ = empty_list();
        append(batches_, batch_);
    }
    void add(Borrowed path) { append(batch_, path); }

    [[nodiscard]] bool has_open_batch() const { return PyList_GET_SIZE(batch_.get()) > 0; }
    [[nodiscard]] Ref batches() const { return batches_; }

private:
    Ref batches_ = empty_list();
    Ref batch_;
};

// The batches of a plain list or tuple of plain texts; nothing when it declines.
Ref batches_natively(const Module& module, Borrowed paths) {
    const Ref limit = module.find("_MAX_PATHSPEC_CHARS"_name);
    if (!(PyList_CheckExact(paths.get()) || PyTuple_CheckExact(paths.get())) || !limit ||
        !PyLong_CheckExact(limit.get())) {
        return {};
    }
    int overflow = 0;
    const long long most = PyLong_AsLongLongAndOverflow(limit.get(), &overflow);
    if (overflow != 0) {
        return {};
    }
    Batches batches;
    long long length = 0;
    const Ref iterator = iterate(paths);
    while (const Ref path = next(iterator)) {
        if (!PyUnicode_CheckExact(path.get())) {
            return {};
        }
        const long long taken = PyUnicode_GET_LENGTH(path.get()) + 1;
        if (batches.has_open_batch() && length + taken > most) {
            batches.begin_batch();
            length = 0;
        }
        batches.add(path);
        length += taken;
    }
    return batches.batches();
}

// length + len(path) + 1
Ref longer_by(Borrowed length, Borrowed path) {
    const Ref taken = integer(git_utils::length(path));
    return add(add(length, taken), integer(1));
}

Ref batches_in_general(const Module& module, Borrowed paths) {
    Batches batches;
    Ref length = integer(0);
    const Ref iterator = iterate(paths);
    while (const Ref path = next(iterator)) {
        if (batches.has_open_batch()) {
            const Ref longer = longer_by(length, path);
            if (compare(longer, module["_MAX_PATHSPEC_CHARS"_name], Py_GT)) {
                batches.begin_batch();
                length = integer(0);
            }
        }
        batches.add(path);
        length = longer_by(length, path);
    }
    return batches.batches();
}

}  // namespace

Ref _path_batches(const Module& module, Borrowed paths) {
    if (Ref batches = batches_natively(module, paths)) {
        return batches;
    }
    return batches_in_general(module, paths);
}

}  // namespace git_utils
