// The lexical rules that both text forms share: blanks, comments, strings, integers. Private to this room.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel::Config {

class TextCursor {
  public:
    // `function` is named by the exceptions.
    TextCursor(const char* function, std::string_view text)
        : function_(function), text_(text.substr(0, text.find('\0'))) {}

    bool at_end() const { return position_ == text_.size(); }
    // The next character. Throws EndOfStreamException at the end.
    char peek() const {
        if (at_end()) end_of_stream();
        return text_[position_];
    }
    bool next_is(char c) const { return !at_end() && text_[position_] == c; }
    // Steps past the next character, counting lines.
    void skip() {
        if (text_[position_++] == '\n') line_++;
    }
    // Whether "//" comes next.
    bool at_comment() const { return text_.substr(position_, 2) == "//"; }
    // Steps past a comment with its line feed.
    void skip_comment();
    void skip_whitespace();
    // Whether a blank, a line end or a comment comes next.
    bool at_whitespace() const;

    // From the opening quote on; steps past the closing one.
    std::string read_string();
    // The same with the escapes of JSON beside these two: \/ \b \f \n \r \t and \u with four hexadecimal
    // digits, in pairs for characters beyond 16 bits. Half a pair becomes U+FFFD.
    std::string read_json_string();
    // The character behind a backslash, which comes next: a quote or a backslash.
    char read_escape();
    // "-" and digits, each of which may be missing. The caller checks what follows.
    i64 read_integer();

    // Opens and closes one level of nesting; open throws beyond kMaxDepth.
    void open_level();
    void close_level() { depth_--; }

    [[noreturn]] void fail(const std::string& message) const;

  private:
    [[noreturn]] void end_of_stream() const;
    // Names the character that comes next, every byte of it.
    [[noreturn]] void refuse_escape() const;
    void read_json_escape(std::string& out);
    // Four hexadecimal digits.
    u32 read_code_unit();

    const char* function_;
    std::string_view text_;
    size_t position_ = 0;
    u64 line_ = 0;
    u64 depth_ = 0;
};

}  // namespace trel::Config
