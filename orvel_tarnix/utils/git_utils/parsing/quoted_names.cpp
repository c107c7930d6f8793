// Reading a file's name from a header line of a patch. These are the fallbacks; in a patch the fast
// path is PatchReader's (line_spans.cpp).
#include "declarations.hpp"

namespace git_utils {
namespace {

// raw += text.encode("utf-8")
void append_encoded(const ModuleState& module, Ref& raw, Borrowed text) {
    const Ref bytes = module.call_method(text, "encode"_name, module.name("utf-8"_name));
    raw = Ref::steal(PyNumber_InPlaceAdd(raw.get(), bytes.get()));
}

}  // namespace

Ref _patch_path(const ModuleState& module, Borrowed text) {
    Ref name = module.call_method(text, "removesuffix"_name, "\t");
    if (is_equal({name, module.name("/dev/null"_name)})) {
        return none();
    }
    if (length(name) >= 2 && is_true(module.call_method(name, "startswith"_name, "\"")) &&
        is_true(module.call_method(name, "endswith"_name, "\""))) {
        return call({module["_unquote"_name], slice(name, {1, -1})});
    }
    return name;
}

Ref _unquote(const ModuleState& module, Borrowed text) {
    Ref raw = Ref::steal(PyByteArray_FromStringAndSize(nullptr, 0));
    Ref position = integer(0);
    const Ref escapes =
        iterate(module.call_method(module["_C_ESCAPE"_name], "finditer"_name, text));
    while (const Ref escape = next(escapes)) {
        const Ref start = module.call_method(escape, "start"_name);
        append_encoded(module, raw, slice(text, {position, start}));
        const Ref code = module.call_method(escape, "group"_name, 1);
        if (length(code) == 3) {
            // raw.append(int(code, 8))
            call({module.attribute(raw, "append"_name),
                  call({reinterpret_cast<PyObject*>(&PyLong_Type), code, 8})});
        } else {
            const Ref meaning =
                module.call_method(module["_C_ESCAPES"_name], "get"_name, code, code);
            append_encoded(module, raw, meaning);
        }
        position = module.call_method(escape, "end"_name);
    }
    append_encoded(module, raw, slice(text, {position, Py_None}));
    return module.call_method(raw, "decode"_name, module.name("utf-8"_name),
                              module.name("replace"_name));
}

}  // namespace git_utils
