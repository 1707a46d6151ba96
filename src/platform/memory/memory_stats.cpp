#include "platform/memory/memory_stats.h"

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
    return text + "spread: ?";
}

}  // namespace trel
