#include "base/command_line/parameter_list.h"

namespace trel::CommandLine {

ParameterList::ParameterList(std::vector<std::string> words) : words_(std::move(words)) {
    for (const std::string& word : words_) {
        const size_t colon = word.find(':');
        if (colon == std::string::npos) {
            pairs_.emplace_back(word, "");
        } else {
            pairs_.emplace_back(word.substr(0, colon), word.substr(colon + 1));
        }
    }
}

const ParameterList::Pair& ParameterList::current() const {
    require_more();
    return pairs_[cursor_];
}

const std::string& ParameterList::current_raw() const {
    require_more();
    return words_[cursor_];
}

void ParameterList::advance() {
    require_more();
    cursor_++;
}

void ParameterList::require_more() const {
    if (!has_more()) throw CommandLineException("Expected more parameters.");
}

i64 parse_scaled_integer(const std::string& text) {
    constexpr u128 kMax = (u64(1) << 63) - 1;
    size_t i = 0;
    bool negative = false;
    for (; i < text.size() && text[i] == '-'; i++) negative = !negative;
    u128 value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; i++) {
        value = value * 10 + static_cast<unsigned>(text[i] - '0');
        if (value > kMax) value = kMax;
    }
    switch (i < text.size() ? text[i] : '\0') {
        case 'k':
        case 'K':
            value *= 1000;
            break;
        case 'm':
        case 'M':
            value *= 1000000;
            break;
        case 'b':
        case 'B':
            value *= 1000000000;
            break;
        case 't':
        case 'T':
            value *= 1000000000000;
            break;
        default:
            break;
    }
    if (value > kMax) value = kMax;
    return negative ? -static_cast<i64>(value) : static_cast<i64>(value);
}

}  // namespace trel::CommandLine
