#include "base/prompt/number_text.h"

namespace trel::Prompt {
namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

u64 scale_of(char suffix) {
    switch (suffix) {
        case 'K':
            return u64(1) << 10;
        case 'M':
            return u64(1) << 20;
        case 'G':
            return u64(1) << 30;
        case 'T':
            return u64(1) << 40;
        case 'P':
            return u64(1) << 50;
        case 'E':
            return u64(1) << 60;
        case 'm':
            return 1000000;
        case 'b':
            return 1000000000;
        case 't':
            return 1000000000000;
        default:
            return 1;
    }
}

i128 parse(std::string_view text, bool with_fraction) {
    constexpr u128 kMax = u128(1) << 64;
    constexpr int kFractionDigits = 19;
    size_t i = 0;
    const bool negative = i < text.size() && text[i] == '-';
    if (negative) i++;
    u128 whole = 0;
    for (; i < text.size() && (is_digit(text[i]) || text[i] == ','); i++) {
        if (text[i] == ',') continue;
        whole = 10 * whole + static_cast<u128>(text[i] - '0');
        if (whole > kMax) whole = kMax;
    }
    u128 fraction = 0, unit = 1;  // fraction / unit
    if (with_fraction && i < text.size() && text[i] == '.') {
        int digits = 0;
        for (i++; i < text.size() && is_digit(text[i]); i++) {
            if (++digits > kFractionDigits) continue;
            fraction = 10 * fraction + static_cast<u128>(text[i] - '0');
            unit *= 10;
        }
    }
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) i++;
    const u128 scale = scale_of(i < text.size() ? text[i] : '\0');
    // At most 2^64 * 2^60, and 10^19 * 2^60 inside the quotient.
    const i128 value = static_cast<i128>(whole * scale + fraction * scale / unit);
    return negative ? -value : value;
}

}  // namespace

bool holds_number(std::string_view text) {
    const size_t front = text.find_first_not_of(",.", text.starts_with('-') ? 1 : 0);
    return front != std::string_view::npos && is_digit(text[front]);
}

i128 parse_number(std::string_view text) {
    return parse(text, false);
}

i128 parse_memory_size(std::string_view text) {
    return parse(text, true);
}

}  // namespace trel::Prompt
