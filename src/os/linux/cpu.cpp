#include "os/cpu.h"

#include <cstddef>

#include "os/affinity.h"

namespace trel::os {

const std::vector<u32>& active_processors() {
    static const std::vector<u32> processors = [] {
        std::vector<u32> found;
        if (get_thread_affinity(found)) found.clear();
        if (found.empty()) found.push_back(0);
        return found;
    }();
    return processors;
}

std::vector<u32> active_processors(u32 group) {
    return group == 0 ? active_processors() : std::vector<u32>{};
}

u32 processor_group_count() {
    return 1;
}

u32 active_processor_count(u32 group) {
    return group == 0 ? static_cast<u32>(active_processors().size()) : 0;
}

u32 active_processor_count() {
    return active_processor_count(0);
}

namespace {
// Counts before the first thread changes its own affinity.
[[maybe_unused]] const size_t counted_at_start = active_processors().size();
}  // namespace

}  // namespace trel::os
