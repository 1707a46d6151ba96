// The words of the command line, consumed from the front.
#pragma once

#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "os/types.h"

namespace trel::CommandLine {

// Not of the program's own family of exceptions: its message is a constant text.
class CommandLineException : public std::exception {
  public:
    explicit CommandLineException(const char* message) : message_(message) {}
    const char* what() const noexcept override { return message_; }

  private:
    const char* message_;
};

// Words are UTF-8; word 0 is the program's path and is never handed out. Each word is split at its first ':'
// into key and value; without a colon it is all key.
class ParameterList {
  public:
    using Pair = std::pair<std::string, std::string>;

    explicit ParameterList(std::vector<std::string> words);

    bool has_more() const { return cursor_ < words_.size(); }
    // The next word's pair, its value, the word as it was typed (a path may hold colons), and the step past
    // it. Each throws CommandLineException "Expected more parameters." when there is no next word.
    const Pair& current() const;
    const std::string& current_value() const { return current().second; }
    const std::string& current_raw() const;
    void advance();
    // The word behind the next one, as it was typed; null when there is none.
    const std::string* next() const { return cursor_ + 1 < words_.size() ? &words_[cursor_ + 1] : nullptr; }

    const std::vector<std::string>& words() const { return words_; }
    // The next word's place among words().
    u64 position() const { return cursor_; }

  private:
    void require_more() const;

    std::vector<std::string> words_;
    std::vector<Pair> pairs_;
    u64 cursor_ = 1;
};

// The lenient number rule, which reads something from every text: an optional '-', decimal digits, and one of
// k m b t (either case) for 10^3, 10^6, 10^9, 10^12; whatever follows is ignored. No digits: 0. Values past
// the ends of the type are clamped. Values of options are read by parse_count() (value_text.h), which agrees
// with it where both read the whole text and refuses the rest.
i64 parse_scaled_integer(const std::string& text);

}  // namespace trel::CommandLine
