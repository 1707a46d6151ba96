#include "os/cpu.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "os/affinity.h"
#include "os/linux/control_groups.h"
#include "os/linux/number_list.h"
#include "os/linux/processor_list.h"

namespace trel::os {

std::vector<u32> processors_of_machine(const std::string& root) {
    if (auto online = read_number_list(root + "/sys/devices/system/cpu/online"); online && !online->empty()) {
        std::sort(online->begin(), online->end());
        return *online;
    }
    std::vector<u32> processors(static_cast<size_t>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L)));
    std::iota(processors.begin(), processors.end(), u32(0));
    return processors;
}

std::vector<u32> processors_of_process(OsError (*get_affinity)(std::vector<u32>& processors),
                                       const std::string& root) {
    std::vector<u32> found;
    if (get_affinity(found) || found.empty()) found = processors_of_machine(root);
    return found;
}

const std::vector<u32>& active_processors() {
    static const std::vector<u32> processors = processors_of_process(get_thread_affinity, "");
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

u32 processor_quota(const std::string& root) {
    return processor_quota_of_groups(root);
}

u32 usable_processor_count(const std::string& root) {
    return processors_within_quota(active_processor_count(), processor_quota(root));
}

u32 usable_processor_count() {
    static const u32 count = usable_processor_count("");
    return count;
}

namespace {
// Counts before the first thread changes its own affinity.
[[maybe_unused]] const size_t counted_at_start = active_processors().size();
}  // namespace

}  // namespace trel::os
