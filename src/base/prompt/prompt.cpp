#include "base/prompt/prompt.h"

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/prompt/number_text.h"

namespace trel::Prompt {
namespace {

std::string ask(const char* function, std::string_view prompt, Console::ColorLetter color) {
    Console::print(prompt, color == ' ' ? ' ' : 'w');
    Console::set_color(color);
    std::string line;
    if (!Console::read_line(line)) throw EndOfStreamException(function, "Unexpected end of stream.");
    return line;
}

i128 ask_in_range(const char* function, std::string_view prompt, i128 low, i128 high,
                  Console::ColorLetter color, i128 (*parse)(std::string_view)) {
    for (;;) {
        const std::string answer = ask(function, prompt, color);
        // An empty line or a word is not a choice, though the rule reads it as 0.
        if (!holds_number(answer)) continue;
        const i128 value = parse(answer);
        if (low <= value && value <= high) return value;
    }
}

}  // namespace

std::string read_text(std::string_view prompt, Console::ColorLetter color) {
    std::string text(prompt);
    if (!text.empty() && text.back() != ' ') text += ": ";
    return ask("Prompt::read_text()", text, color);
}

i64 read_integer_in_range(std::string_view prompt, i64 low, i64 high, Console::ColorLetter color) {
    return static_cast<i64>(
        ask_in_range("Prompt::read_integer_in_range()", prompt, low, high, color, parse_number));
}

u64 read_unsigned_in_range(std::string_view prompt, u64 low, u64 high, Console::ColorLetter color) {
    return static_cast<u64>(
        ask_in_range("Prompt::read_unsigned_in_range()", prompt, low, high, color, parse_number));
}

u64 read_memory_size_in_range(std::string_view prompt, u64 low, u64 high, Console::ColorLetter color) {
    return static_cast<u64>(
        ask_in_range("Prompt::read_memory_size_in_range()", prompt, low, high, color, parse_memory_size));
}

}  // namespace trel::Prompt
