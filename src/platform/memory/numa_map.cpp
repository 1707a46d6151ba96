#include "platform/memory/numa_map.h"

#include <algorithm>

#include "base/errors/exceptions.h"
#include "platform/sysinfo/core_numbers.h"

namespace trel {
namespace {

constexpr const char* kTitle = "Parsing NUMA -> Core Mappings...";

std::string width_2(u32 number) {
    const std::string text = std::to_string(number);
    return text.size() < 2 ? " " + text : text;
}

}  // namespace

NumaUnknown::NumaUnknown(u32 code)
    : NumaUnknown("Fatal Error: GetNumaHighestNodeNumber() failed: " + std::to_string(code)) {}

NumaUnknown::NumaUnknown(const std::string& text)
    : RunError(text, {{' ', std::string(kTitle) + "\n"}, {'R', text + "\n"}, {'w', ""}}) {}

NumaMap::NumaMap(const MemoryCalls& calls) {
    u32 highest = 0;
    if (const os::OsError error = calls.highest_node(highest)) throw NumaUnknown(error.code);
    lines_.push_back({kTitle});
    const std::vector<u32> all = calls.processors();
    for (u64 n = 0; n <= highest; n++) {
        const u32 number = static_cast<u32>(n);
        std::vector<u32> processors;
        if (calls.node_processors(number, processors) || processors.empty()) continue;
        Node& node = nodes_[number];
        node.processors = processors;
        for (const u32 processor : processors) {
            const auto found = std::lower_bound(all.begin(), all.end(), processor);
            if (found == all.end() || *found != processor) {
                lines_.push_back({"Warning: Skipping invalid KAFFINITY mask.", 'R'});
                continue;
            }
            const u32 core = static_cast<u32>(found - all.begin());
            node.cores.push_back(core);
            node_of_core_[core] = number;
        }
        std::sort(node.cores.begin(), node.cores.end());
    }
    for (const auto& [number, node] : nodes_) {
        lines_.push_back({"    Node " + width_2(number) + ":  " + core_list_text(node.cores)});
    }
}

u32 NumaMap::core_to_node(u64 core) const {
    const auto found = node_of_core_.find(core);
    if (found == node_of_core_.end()) {
        throw InvalidParametersException("core_to_node()", "Invalid core id: " + std::to_string(core));
    }
    return found->second;
}

const NumaMap& NumaMap::of_this_machine() {
    static const NumaMap& map = *new NumaMap(MemoryCalls::of_this_machine());
    return map;
}

}  // namespace trel
