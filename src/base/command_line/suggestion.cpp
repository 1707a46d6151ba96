#include "base/command_line/suggestion.h"

#include <algorithm>

#include "base/command_line/shown_text.h"

namespace trel::CommandLine {
namespace {

// What is compared.
std::string core_of(std::string_view word) {
    while (word.starts_with('-')) word.remove_prefix(1);
    return lower_case(word);
}

}  // namespace

std::string lower_case(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

std::string list_of(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

u64 edit_distance(std::string_view a, std::string_view b) {
    // Rows of the table of distances between beginnings: the last three.
    std::vector<u64> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
    for (u64 j = 0; j <= b.size(); j++) last[j] = j;
    for (u64 i = 1; i <= a.size(); i++) {
        row[0] = i;
        for (u64 j = 1; j <= b.size(); j++) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        std::swap(before, last);
        std::swap(last, row);
    }
    return last[b.size()];
}

std::string nearest_name(std::string_view word, const std::vector<std::string>& names) {
    constexpr u64 kLongestWord = 40;  // no name is longer, and words may be megabytes
    const std::string core = core_of(word);
    if (core.empty() || core.size() > kLongestWord) return {};
    std::string nearest;
    u64 least = ~u64(0);
    for (const std::string& name : names) {
        const std::string candidate = core_of(name);
        const u64 distance = edit_distance(core, candidate);
        // In a word of two letters none may be wrong: otherwise everything would be near.
        const u64 allowed = (std::max(core.size(), candidate.size())) / 3;
        if (distance <= allowed && distance < least) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

std::string did_you_mean(const std::string& text) {
    return text.empty() ? "" : " Did you mean " + quoted(text) + "?";
}

}  // namespace trel::CommandLine
