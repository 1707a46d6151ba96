#include "platform/sysinfo/core_numbers.h"

#include <algorithm>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"

namespace trel {

namespace {

constexpr u64 kLargestNumber = 65535;

std::string_view trimmed(std::string_view text) {
    const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<u64> core_number(std::string_view text) {
    text = trimmed(text);
    if (text.empty()) return std::nullopt;
    u64 number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        number = 10 * number + static_cast<u64>(c - '0');
        if (number > kLargestNumber) return std::nullopt;
    }
    return number;
}

CoreNumbers numbers_of_this_machine() {
    Console::print_line("Parsing Core -> Handle Mappings...", 'w');
    std::vector<std::vector<u32>> groups;
    for (u32 group = 0; group < os::processor_group_count(); group++) {
        groups.push_back(os::active_processors(group));
    }
    CoreNumbers numbers = CoreNumbers::of(groups);
    std::vector<u32> all(numbers.count());
    for (u32 i = 0; i < all.size(); i++) all[i] = i;
    Console::print_line("    Cores:  " + core_list_text(all), 'w');
    return numbers;
}

}  // namespace

const CoreNumbers& CoreNumbers::of_this_machine() {
    static const CoreNumbers numbers = numbers_of_this_machine();
    return numbers;
}

CoreNumbers CoreNumbers::of(const std::vector<std::vector<u32>>& groups) {
    CoreNumbers numbers;
    for (u32 group = 0; group < groups.size(); group++) {
        for (const u32 processor : groups[group]) numbers.cores.push_back({processor, group});
    }
    return numbers;
}

CoreGroup& CoreGroup::add(const char* function, u64 core, bool toggle) {
    const std::string name = "Core " + std::to_string(core);
    if (core >= numbers_->count()) throw InvalidParametersException(function, name + " doesn't exist.");
    const u32 number = static_cast<u32>(core);
    const auto place = std::lower_bound(cores_.begin(), cores_.end(), number);
    if (place != cores_.end() && *place == number) {
        if (toggle) cores_.erase(place);
        return *this;
    }
    if (!cores_.empty()) {
        const u32 group = numbers_->cores[cores_.front()].group;
        if (numbers_->cores[core].group != group) {
            throw InvalidParametersException(
                function, name + " is not compatible with processor group " + std::to_string(group));
        }
    }
    cores_.insert(place, number);
    return *this;
}

std::string core_list_text(std::span<const u32> cores) {
    if (cores.empty()) return "(none)";
    std::string text;
    for (u64 i = 0; i < cores.size();) {
        u64 last = i;
        while (last + 1 < cores.size() && cores[last + 1] == cores[last] + 1) last++;
        if (!text.empty()) text += ", ";
        text += std::to_string(cores[i]);
        if (last != i) text += "-" + std::to_string(cores[last]);
        i = last + 1;
    }
    return text;
}

std::optional<CoreList> parse_core_list(std::string_view text, u64 count) {
    CoreList list;
    std::vector<bool> named(count);
    for (;;) {
        const size_t comma = text.find(',');
        const std::string_view piece = text.substr(0, comma);
        const size_t dash = piece.find('-');
        const auto first = core_number(piece.substr(0, dash));
        const auto last = dash == std::string_view::npos ? first : core_number(piece.substr(dash + 1));
        if (!first || !last || *last < *first) return std::nullopt;
        for (u64 core = *first; core <= *last && core < count; core++) named[core] = true;
        if (*last >= count && !list.missing) list.missing = std::max(*first, count);
        if (comma == std::string_view::npos) break;
        text.remove_prefix(comma + 1);
    }
    for (u64 core = 0; core < count; core++) {
        if (named[core]) list.cores.push_back(static_cast<u32>(core));
    }
    return list;
}

}  // namespace trel
