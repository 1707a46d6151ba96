#include "base/config/text_cursor.h"

#include "base/config/parser.h"
#include "base/errors/exceptions.h"

namespace trel::Config {
namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
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
    if (c != '"' && c != '\\') fail(std::string("Invalid escape character: ") + c);
    skip();
    return c;
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
