#include "base/command_line/value_text.h"

#include <algorithm>
#include <string>

#include "base/command_line/suggestion.h"

namespace trel::CommandLine {
namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// Takes the digits of the whole part off the front of `text`, without what separates them. False when the
// separators do not stand where they may.
bool take_grouped_digits(std::string_view& text, std::string& digits) {
    char separator = '\0';
    u64 in_group = 0, groups = 1;
    size_t i = 0;
    for (; i < text.size(); i++) {
        const char c = text[i];
        if (is_digit(c)) {
            digits += c;
            in_group++;
        } else if (c == ',' || c == '_') {
            if (separator != '\0' && c != separator) return false;
            separator = c;
            if (in_group == 0) return false;
            if (c == ',' && (groups == 1 ? in_group > 3 : in_group != 3)) return false;
            groups++;
            in_group = 0;
        } else {
            break;
        }
    }
    text.remove_prefix(i);
    return in_group != 0 && (separator != ',' || in_group == 3);
}

std::string take_digits(std::string_view& text) {
    size_t n = 0;
    while (n < text.size() && is_digit(text[n])) n++;
    std::string digits(text.substr(0, n));
    text.remove_prefix(n);
    return digits;
}

// Powers of ten that a suffix stands for; -1: none.
int suffix_exponent(char c) {
    switch (c) {
        case 'k':
        case 'K':
            return 3;
        case 'm':
        case 'M':
            return 6;
        case 'b':
        case 'B':
        case 'g':
        case 'G':
            return 9;
        case 't':
        case 'T':
            return 12;
        default:
            return -1;
    }
}

// Takes what is left of the text as a suffix or an exponent; -1 when it is neither. Nothing is 0.
i64 take_exponent(std::string_view text) {
    if (text.empty()) return 0;
    if (text.size() == 1) return suffix_exponent(text[0]);
    if (text[0] != 'e' && text[0] != 'E') return -1;
    text.remove_prefix(1);
    if (text[0] == '+') text.remove_prefix(1);
    const std::string digits = take_digits(text);
    if (digits.empty() || !text.empty()) return -1;
    constexpr i64 kMost = 1000000;  // far beyond the type
    i64 exponent = 0;
    for (const char c : digits) exponent = std::min(kMost, 10 * exponent + (c - '0'));
    return exponent;
}

}  // namespace

std::optional<i64> parse_count(std::string_view text) {
    constexpr u64 kMax = (u64(1) << 63) - 1;
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    std::string digits;
    if (!take_grouped_digits(text, digits)) return std::nullopt;
    std::string fraction;
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        fraction = take_digits(text);
        if (fraction.empty()) return std::nullopt;
    }
    const i64 exponent = take_exponent(text);
    if (exponent < 0) return std::nullopt;

    // digits.fraction * 10^exponent
    while (fraction.ends_with('0')) fraction.pop_back();
    const i64 zeros = exponent - static_cast<i64>(fraction.size());
    if (zeros < 0) return std::nullopt;  // not whole
    u128 value = 0;
    for (const char c : digits + fraction) {
        value = std::min<u128>(kMax, 10 * value + static_cast<unsigned>(c - '0'));
    }
    for (i64 i = 0; i < zeros && value != 0 && value < kMax; i++) value = std::min<u128>(kMax, 10 * value);
    return negative ? -static_cast<i64>(value) : static_cast<i64>(value);
}

std::optional<bool> parse_switch(std::string_view text) {
    const std::string word = lower_case(text);
    for (const char* on : {"1", "on", "yes", "true"}) {
        if (word == on) return true;
    }
    for (const char* off : {"0", "off", "no", "false"}) {
        if (word == off) return false;
    }
    return std::nullopt;
}

}  // namespace trel::CommandLine
