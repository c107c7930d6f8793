// Reading the name of a file from a header line of a patch.
#pragma once

#include <string>

#include "scan/units.hpp"

namespace git_utils::scan {

// The pattern of the escapes that unquote() undoes
inline constexpr const char* c_escape_pattern = R"(\\([0-7]{3}|.))";

enum class NameForm { none, quoted, plain };

// Cuts a final tab and the quotes off a name in a header line of a patch.
template <class Unit>
NameForm trim_name(Units<Unit>& text) {
    if (!text.empty() && text.back() == '\t') {
        text = text.first(text.size() - 1);
    }
    if (spells(text, "/dev/null")) {
        return NameForm::none;
    }
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        text = text.subspan(1, text.size() - 2);
        return NameForm::quoted;
    }
    return NameForm::plain;
}

// Appends a character as UTF-8; false for a surrogate, which UTF-8 cannot encode.
inline bool append_utf8(std::string& bytes, char32_t character) {
    const auto append = [&](char32_t byte) { bytes.push_back(static_cast<char>(byte)); };
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
    return character < 0xD800 || character > 0xDFFF;
}

inline constexpr std::size_t octal_digits = 3;

// The value of the three octal digits at the start of the text, or -1.
template <class Unit>
int octal_at(Units<Unit> text) {
    if (text.size() < octal_digits) {
        return -1;
    }
    int value = 0;
    for (const Unit unit : text.first(octal_digits)) {
        if (unit < '0' || unit > '7') {
            return -1;
        }
        value = value * 8 + static_cast<int>(unit - '0');
    }
    return value;
}

// Appends the bytes of a name without its quotes; append_unescaped(letter) appends those of an
// escape that is not octal. False where _unquote() raises.
template <class Unit, class AppendUnescaped>
bool unquote(Units<Unit> text, std::string& bytes, AppendUnescaped append_unescaped) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            if (!append_utf8(bytes, text[i])) {
                return false;
            }
            continue;
        }
        const int octal = octal_at(text.subspan(i + 1));
        if (octal > 0xFF) {
            return false;
        }
        if (octal >= 0) {
            bytes.push_back(static_cast<char>(octal));
            i += octal_digits;
        } else if (!append_unescaped(text[++i])) {
            return false;
        }
    }
    return true;
}

}  // namespace git_utils::scan
