#include "platform/memory/memory_stats.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "base/console/format.h"

namespace trel {
namespace {

std::string percent(u64 part, u64 total) {
    return std::to_string(static_cast<u64>(u128(part) * 100 / total)) + "%";
}

}  // namespace

std::string memory_stats_text(const MemoryStats& stats) {
    std::string text;
    if (stats.locked_bytes > 0) {
        if (stats.locked_bytes < stats.total_bytes)
            text += percent(stats.locked_bytes, stats.total_bytes) + " ";
        text += "locked, ";
    }
    if (stats.large_page_bytes > 0) {
        if (stats.large_page_bytes < stats.total_bytes)
            text += percent(stats.large_page_bytes, stats.total_bytes) + " ";
        text +=
            stats.large_page_size == 0 ? std::string("large") : Console::format_bytes(stats.large_page_size);
        text += " pages, ";
    }
    if (stats.aimed_nodes == 0) return text + "spread: ?";
    const u64 evenness = static_cast<u64>(placement_evenness(stats.node_bytes, stats.aimed_nodes) * 100);
    return text + "spread: " + std::to_string(evenness) + "%/" + std::to_string(stats.aimed_nodes);
}

double placement_evenness(const std::map<u32, u64>& node_bytes, u64 nodes) {
    if (nodes < 2) return 1;
    const double n = static_cast<double>(nodes);
    double total = 0;
    for (const auto& [node, bytes] : node_bytes) total += static_cast<double>(bytes);
    if (total == 0) return 0;
    const double mean = total / n;
    double squares = 0;
    for (const auto& [node, bytes] : node_bytes) {
        const double difference = static_cast<double>(bytes) - mean;
        squares += difference * difference;
    }
    return std::max(0.0, 1 - std::sqrt(n * squares / (n - 1)) / total);
}

std::string memory_nodes_text(const MemoryStats& stats) {
    std::vector<std::pair<u32, u64>> nodes(stats.node_bytes.begin(), stats.node_bytes.end());
    std::stable_sort(nodes.begin(), nodes.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    if (nodes.size() > 3) nodes.resize(3);
    std::string text;
    for (const auto& [node, bytes] : nodes) {
        text += (text.empty() ? "node " : ", ") + std::to_string(node) + " (";
        text += percent(std::min(bytes, stats.total_bytes), std::max<u64>(stats.total_bytes, 1)) + ")";
    }
    return text;
}

}  // namespace trel
