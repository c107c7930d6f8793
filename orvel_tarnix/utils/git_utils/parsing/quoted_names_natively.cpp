#include "natively.hpp"
#include "parsing/native/quoted_name.hpp"
#include "parsing/native_ways.hpp"

namespace git_utils::parsing {
namespace {

// Appends what _C_ESCAPES has for the letter, or the letter itself; false when that is no text.
bool append_meaning(const Module& module, std::string& bytes, Py_UCS4 letter) {
    const Ref code = to_str(Units<Py_UCS4>(&letter, 1));
    const Ref table = module["_C_ESCAPES"_name];
    // Without the GIL another thread may have put something else there by now.
    if (!PyDict_CheckExact(table.get())) {
        return false;
    }
    const Ref meaning = find_item(table, code);
    if (!meaning) {
        return append_utf8(bytes, letter);
    }
    if (!PyUnicode_CheckExact(meaning.get())) {
        return false;
    }
    return with_text(meaning, [&](auto units) {
        return std::ranges::all_of(units, [&](auto unit) { return append_utf8(bytes, unit); });
    });
}

template <class Unit>
Ref unquoted(const Module& module, Units<Unit> text) {
    std::string bytes;
    const bool is_read = unquote(text, bytes, [&](std::string& target, Py_UCS4 letter) {
        return append_meaning(module, target, letter);
    });
    if (!is_read) {
        return {};
    }
    return Ref::steal(
        PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace"));
}

}  // namespace

template <class Unit>
Ref patch_path_natively(const Module& module, Units<Unit> text) {
    switch (cut_to_name(text)) {
        case NameForm::none:
            return none();
        case NameForm::quoted:
            return unquoted(module, text);
        default:
            return to_str(text);
    }
}

template Ref patch_path_natively(const Module&, Units<Py_UCS1>);
template Ref patch_path_natively(const Module&, Units<Py_UCS2>);
template Ref patch_path_natively(const Module&, Units<Py_UCS4>);

Ref plain_path_natively(const Module& module, Borrowed text) {
    return natively<uses::nothing>(module, text, [&](auto name) {
        switch (cut_to_name(name)) {
            case NameForm::none:
                return none();
            case NameForm::quoted:
                return Ref();
            default:
                return part_of(text, name);
        }
    });
}

Ref unquoted_natively(const Module& module, Borrowed text) {
    return natively<uses::unquote>(module, text,
                                   [&](auto units) { return unquoted(module, units); });
}

}  // namespace git_utils::parsing
