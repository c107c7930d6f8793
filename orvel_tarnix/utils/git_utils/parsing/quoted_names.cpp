#include "parsing/quoted_names.hpp"

#include <string>

#include "parsing/parsing.hpp"
#include "text/units.hpp"

namespace git_utils::parsing {
namespace {

// Appends what `character.encode("utf-8")` gives; false for a surrogate, which it refuses.
bool append_utf8(std::string& bytes, Py_UCS4 character) {
    const auto append = [&](Py_UCS4 byte) { bytes.push_back(static_cast<char>(byte)); };
    const auto append_tail = [&](unsigned shift) { append(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0 | (character >> 6));
        append_tail(0);
    } else if (character < 0x10000) {
        append(0xE0 | (character >> 12));
        append_tail(6);
        append_tail(0);
    } else {
        append(0xF0 | (character >> 18));
        append_tail(12);
        append_tail(6);
        append_tail(0);
    }
    return Py_UNICODE_IS_SURROGATE(character) == 0;
}

// The three octal digits at the front of `text`, or -1.
template <class Unit>
int octal_at(Units<Unit> text) {
    if (text.size() < 3) {
        return -1;
    }
    int value = 0;
    for (const Unit unit : text.first(3)) {
        if (unit < '0' || unit > '7') {
            return -1;
        }
        value = value * 8 + static_cast<int>(unit - '0');
    }
    return value;
}

// Appends what the escape with this letter stands for; false when that is no plain text.
bool append_letter(const Module& module, std::string& bytes, Py_UCS4 letter) {
    const Ref code = Ref::steal(PyUnicode_FromOrdinal(static_cast<int>(letter)));
    const Ref escapes = module["_C_ESCAPES"_name];
    PyObject* found = nullptr;
    if (check(PyDict_GetItemRef(escapes.get(), code.get(), &found)) == 0) {
        return append_utf8(bytes, letter);
    }
    const Ref meaning = Ref::steal(found);
    if (!PyUnicode_CheckExact(meaning.get())) {
        return false;
    }
    return with_text(meaning.get(), [&](auto units) {
        return std::ranges::all_of(units, [&](auto unit) { return append_utf8(bytes, unit); });
    });
}

bool escapes_are_own(const Module& module) {
    const Ref escapes = module.find("_C_ESCAPES"_name);
    return module.is_own("_C_ESCAPE"_name) && escapes && PyDict_CheckExact(escapes.get());
}

enum class NameForm { none, quoted, plain };

// Cuts the text of a header line to the name itself, without the tab or the quotes around it.
template <class Unit>
NameForm cut_to_name(Units<Unit>& text) {
    if (!text.empty() && text.back() == '\t') {
        text = text.first(text.size() - 1);
    }
    if (equals(text, "/dev/null")) {
        return NameForm::none;
    }
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = text.subspan(1, text.size() - 2);
        return NameForm::quoted;
    }
    return NameForm::plain;
}

// _unquote(text), or nothing.
template <class Unit>
Ref read_quoted(const Module& module, Units<Unit> text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            if (!append_utf8(bytes, text[i])) {
                return {};
            }
            continue;
        }
        const int octal = octal_at(text.subspan(i + 1));
        if (octal > 0xFF) {
            return {};
        }
        if (octal >= 0) {
            bytes.push_back(static_cast<char>(octal));
            i += 3;
        } else if (!append_letter(module, bytes, text[++i])) {
            return {};
        }
    }
    return Ref::steal(
        PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace"));
}

}  // namespace

bool patch_paths_are_own(const Module& module) {
    return module.is_own("_patch_path"_name) && module.is_own("_unquote"_name) &&
           escapes_are_own(module);
}

template <class Unit>
Ref read_patch_path(const Module& module, Units<Unit> text) {
    switch (cut_to_name(text)) {
        case NameForm::none:
            return Ref::borrow(Py_None);
        case NameForm::quoted:
            return read_quoted(module, text);
        default:
            return to_str(text);
    }
}

template Ref read_patch_path(const Module&, Units<Py_UCS1>);
template Ref read_patch_path(const Module&, Units<Py_UCS2>);
template Ref read_patch_path(const Module&, Units<Py_UCS4>);

namespace {

// raw += text.encode("utf-8")
void append_encoded(const Module& module, Ref& raw, PyObject* text) {
    const Ref bytes = module.call_method(text, "encode"_name, module.name("utf-8"_name));
    raw = Ref::steal(PyNumber_InPlaceAdd(raw.get(), bytes.get()));
}

// What _patch_path() does to an object that is no plain str.
Ref patch_path(const Module& module, PyObject* text) {
    Ref name = module.call_method(text, "removesuffix"_name, git_utils::text("\t").get());
    if (compare(name.get(), git_utils::text("/dev/null").get(), Py_EQ)) {
        return Ref::borrow(Py_None);
    }
    const Ref quote = git_utils::text("\"");
    if (check(PyObject_Size(name.get())) >= 2 &&
        is_true(module.call_method(name.get(), "startswith"_name, quote.get())) &&
        is_true(module.call_method(name.get(), "endswith"_name, quote.get()))) {
        const Ref unquote = module["_unquote"_name];
        return call(unquote.get(), slice(name.get(), 1, -1).get());
    }
    return name;
}

// What _unquote() does to whatever native code declines.
Ref unquote(const Module& module, PyObject* text) {
    Ref raw = Ref::steal(PyByteArray_FromStringAndSize(nullptr, 0));
    Ref position = Ref::steal(PyLong_FromLong(0));
    const auto append_until = [&](PyObject* end) {
        const Ref range = Ref::steal(PySlice_New(position.get(), end, nullptr));
        append_encoded(module, raw, Ref::steal(PyObject_GetItem(text, range.get())).get());
    };
    const Ref matches = module.call_method(module["_C_ESCAPE"_name].get(), "finditer"_name, text);
    const Ref iterator = Ref::steal(PyObject_GetIter(matches.get()));
    while (const Ref escape = next(iterator.get())) {
        append_until(module.call_method(escape.get(), "start"_name).get());
        const Ref code = item(escape.get(), 1);
        if (check(PyObject_Size(code.get())) == 3) {
            const Ref base = Ref::steal(PyLong_FromLong(8));
            const Ref byte =
                call(reinterpret_cast<PyObject*>(&PyLong_Type), code.get(), base.get());
            module.call_method(raw.get(), "append"_name, byte.get());
        } else {
            const Ref escapes = module["_C_ESCAPES"_name];
            const Ref meaning =
                module.call_method(escapes.get(), "get"_name, code.get(), code.get());
            append_encoded(module, raw, meaning.get());
        }
        position = module.call_method(escape.get(), "end"_name);
    }
    append_until(nullptr);
    return module.call_method(raw.get(), "decode"_name, module.name("utf-8"_name),
                              module.name("replace"_name));
}

}  // namespace

Ref _patch_path(const Module& module, PyObject* text) {
    if (!PyUnicode_CheckExact(text)) {
        return patch_path(module, text);
    }
    return with_text(text, [&](auto name) {
        const std::size_t size = name.size();
        switch (cut_to_name(name)) {
            case NameForm::none:
                return Ref::borrow(Py_None);
            case NameForm::quoted:
                return call(module["_unquote"_name].get(), to_str(name).get());
            default:
                return name.size() == size ? Ref::borrow(text) : to_str(name);
        }
    });
}

Ref _unquote(const Module& module, PyObject* text) {
    if (PyUnicode_CheckExact(text) && escapes_are_own(module)) {
        Ref name = with_text(text, [&](auto units) { return read_quoted(module, units); });
        if (name) {
            return name;
        }
    }
    return unquote(module, text);
}

}  // namespace git_utils::parsing
