#include "base/config/text_cursor.h"

#include "base/command_line/shown_text.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"

namespace trel::Config {
namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool is_high_surrogate(u32 code) {
    return code >= 0xD800 && code < 0xDC00;
}

bool is_low_surrogate(u32 code) {
    return code >= 0xDC00 && code < 0xE000;
}

void append_utf8(std::string& out, u32 code) {
    const auto tail = [&](int shift) { out += static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | code >> 6);
        tail(0);
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | code >> 12);
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | code >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

}  // namespace

void TextCursor::fail(const std::string& message) const {
    throw ParseException(function_, "Line " + std::to_string(line_) + ": " + message);
}

void TextCursor::end_of_stream() const {
    throw EndOfStreamException(function_, "Unexpected end of stream.");
}

void TextCursor::skip_comment() {
    while (!at_end()) {
        const bool line_end = text_[position_] == '\n';
        skip();
        if (line_end) return;
    }
}

bool TextCursor::at_whitespace() const {
    return !at_end() && (is_blank(text_[position_]) || at_comment());
}

void TextCursor::skip_whitespace() {
    while (at_whitespace()) {
        if (at_comment()) {
            skip_comment();
        } else {
            skip();
        }
    }
}

char TextCursor::read_escape() {
    skip();
    const char c = peek();
    if (c != '"' && c != '\\') refuse_escape();
    skip();
    return c;
}

void TextCursor::refuse_escape() const {
    const std::string_view rest = text_.substr(position_);
    fail("Invalid escape character: " + std::string(rest.substr(0, CommandLine::utf8_length(rest))));
}

u32 TextCursor::read_code_unit() {
    u32 unit = 0;
    for (int i = 0; i < 4; i++) {
        const char c = peek();
        if (c >= '0' && c <= '9') {
            unit = 16 * unit + static_cast<u32>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            unit = 16 * unit + static_cast<u32>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            unit = 16 * unit + static_cast<u32>(c - 'A' + 10);
        } else {
            fail("Invalid escape character: u");
        }
        skip();
    }
    return unit;
}

void TextCursor::read_json_escape(std::string& out) {
    constexpr std::string_view kNames = "\"\\/bfnrt", kCharacters = "\"\\/\b\f\n\r\t";
    skip();
    const char c = peek();
    if (const size_t at = kNames.find(c); at != std::string_view::npos) {
        out += kCharacters[at];
        skip();
        return;
    }
    if (c != 'u') refuse_escape();
    skip();
    u32 code = read_code_unit();
    if (is_high_surrogate(code) && text_.substr(position_, 2) == "\\u") {
        const size_t here = position_;
        skip();
        skip();
        const u32 low = read_code_unit();
        if (is_low_surrogate(low)) {
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        } else {
            position_ = here;  // a character of its own; no line ends in between
        }
    }
    append_utf8(out, is_high_surrogate(code) || is_low_surrogate(code) ? 0xFFFD : code);
}

std::string TextCursor::read_json_string() {
    std::string out;
    skip();
    while (peek() != '"') {
        if (peek() == '\\') {
            read_json_escape(out);
        } else {
            out += peek();
            skip();
        }
    }
    skip();
    return out;
}

std::string TextCursor::read_string() {
    std::string out;
    skip();
    while (peek() != '"') {
        if (peek() == '\\') {
            out += read_escape();
        } else {
            out += peek();
            skip();
        }
    }
    skip();
    return out;
}

i64 TextCursor::read_integer() {
    constexpr u64 kMax = (u64(1) << 63) - 1;
    const bool negative = next_is('-');
    if (negative) skip();
    u64 value = 0;
    while (!at_end() && text_[position_] >= '0' && text_[position_] <= '9') {
        const u64 digit = static_cast<u64>(text_[position_] - '0');
        // The magnitude is checked before the sign: the most negative number cannot be read.
        if (value > (kMax - digit) / 10) fail("Integer literal is too large.");
        value = 10 * value + digit;
        skip();
    }
    return negative ? -static_cast<i64>(value) : static_cast<i64>(value);
}

void TextCursor::open_level() {
    if (++depth_ > kMaxDepth) {
        fail("Nesting is deeper than " + std::to_string(kMaxDepth) + " levels.");
    }
}

}  // namespace trel::Config
