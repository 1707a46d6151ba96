#include "os/linux/number_list.h"

#include <fstream>

namespace trel::os {
namespace {

// Takes the digits off the front of the text.
std::optional<u32> take_number(std::string_view& text) {
    if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
    u32 value = 0;
    while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        value = value * 10 + static_cast<u32>(text.front() - '0');
        if (value >= kListLimit) return std::nullopt;
        text.remove_prefix(1);
    }
    return value;
}

}  // namespace

std::optional<std::vector<u32>> parse_number_list(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.remove_suffix(1);
    std::vector<u32> numbers;
    if (text.empty()) return numbers;
    while (true) {
        const std::optional<u32> first = take_number(text);
        if (!first) return std::nullopt;
        std::optional<u32> last = first;
        if (text.starts_with('-')) {
            text.remove_prefix(1);
            last = take_number(text);
            if (!last || *last < *first) return std::nullopt;
        }
        // Ranges that overlap could make a short text long.
        if (numbers.size() + (*last - *first) >= kListLimit) return std::nullopt;
        for (u32 i = *first; i <= *last; i++) numbers.push_back(i);
        if (text.empty()) return numbers;
        if (text.front() != ',') return std::nullopt;
        text.remove_prefix(1);
    }
}

std::optional<std::vector<u32>> read_number_list(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    if (!file) return std::nullopt;
    std::getline(file, line);
    if (file.bad()) return std::nullopt;
    return parse_number_list(line);
}

std::optional<i64> read_integer(const std::string& path) {
    std::ifstream file(path);
    i64 value;
    if (file >> value) return value;
    return std::nullopt;
}

}  // namespace trel::os
