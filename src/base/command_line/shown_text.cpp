#include "base/command_line/shown_text.h"

namespace trel::CommandLine {
namespace {

u8 byte_of(std::string_view text, u64 i) {
    return static_cast<u8>(text[i]);
}

// Value of the sequence of `length` bytes at the front; -1 when it is a stray byte.
i32 code_point(std::string_view text, u64 length) {
    const u8 lead = byte_of(text, 0);
    if (length == 1) return lead < 0x80 ? lead : -1;
    i32 value = lead & (0x7F >> length);
    for (u64 i = 1; i < length; i++) value = value << 6 | (byte_of(text, i) & 0x3F);
    return value;
}

bool may_be_shown(i32 code) {
    if (code < 0x20 || code == 0x7F) return false;
    if (code >= 0x80 && code < 0xA0) return false;
    const bool turns_direction = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ||
                                 code == 0x200E || code == 0x200F;
    const bool ends_line = code == 0x2028 || code == 0x2029;
    return !turns_direction && !ends_line;
}

void append_hexadecimal(std::string& out, u8 byte) {
    constexpr char kDigits[] = "0123456789abcdef";
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
}

std::string shown(std::string_view text, u64 longest, bool lines) {
    std::string out;
    for (u64 i = 0; i < text.size();) {
        const u64 length = utf8_length(text.substr(i));
        if (i + length > longest) {
            out += "... (" + std::to_string(text.size()) + " bytes)";
            break;
        }
        const char c = text[i];
        if (may_be_shown(code_point(text.substr(i), length)) || (lines && (c == '\n' || c == '\t'))) {
            out += text.substr(i, length);
        } else {
            for (u64 k = 0; k < length; k++) append_hexadecimal(out, byte_of(text, i + k));
        }
        i += length;
    }
    return out;
}

}  // namespace

u64 utf8_length(std::string_view text) {
    const u8 lead = byte_of(text, 0);
    const u64 length = lead >= 0xF0 && lead < 0xF5   ? 4
                       : lead >= 0xE0 && lead < 0xF0 ? 3
                       : lead >= 0xC2 && lead < 0xE0 ? 2
                                                     : 1;
    if (length > text.size()) return 1;
    for (u64 i = 1; i < length; i++) {
        if ((byte_of(text, i) & 0xC0) != 0x80) return 1;
    }
    return length;
}

std::string shown(std::string_view text, u64 longest) {
    return shown(text, longest, false);
}

std::string shown_lines(std::string_view text, u64 longest) {
    return shown(text, longest, true);
}

std::string quoted(std::string_view text) {
    return '"' + shown(text) + '"';
}

}  // namespace trel::CommandLine
