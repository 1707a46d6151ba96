#include "os/memory_status.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>

namespace trel::os {
namespace {

// The number after a key at the start of a line: "MemTotal:  123 kB", "inactive_file 123".
std::optional<u64> number_after(const std::string& path, const std::string& key) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string word;
        u64 value;
        if (words >> word && word == key && words >> value) return value;
    }
    return std::nullopt;
}

// Empty when the file is missing or holds a word ("max") instead of a number.
std::optional<u64> number_in(const std::string& path) {
    std::ifstream file(path);
    u64 value;
    if (file >> value) return value;
    return std::nullopt;
}

// The files of one control-group version.
struct LimitFiles {
    const char* limit;
    const char* usage;
    const char* reclaimable;
};
constexpr LimitFiles kVersion1 = {"/memory.limit_in_bytes", "/memory.usage_in_bytes", "total_inactive_file"};
constexpr LimitFiles kVersion2 = {"/memory.max", "/memory.current", "inactive_file"};

// Lowers the status to the limits of a group and of all groups around it. The file cache counts as use but
// can be taken back.
void apply_limits(MemoryStatus& status, const std::string& base, std::string group, const LimitFiles& files) {
    while (true) {
        const std::string folder = base + group;
        if (const std::optional<u64> limit = number_in(folder + files.limit)) {
            const u64 usage = number_in(folder + files.usage).value_or(0);
            const u64 cache = number_after(folder + "/memory.stat", files.reclaimable).value_or(0);
            const u64 used = usage - std::min(usage, cache);
            status.total_physical = std::min(status.total_physical, *limit);
            status.available_physical = std::min(status.available_physical, *limit - std::min(*limit, used));
        }
        const size_t slash = group.rfind('/');
        if (slash == std::string::npos) return;
        group.resize(slash);
    }
}

}  // namespace

MemoryStatus memory_status(const std::string& root) {
    MemoryStatus status;
    status.address_space = u64(1) << 47;

    const std::string meminfo = root + "/proc/meminfo";
    status.total_physical = number_after(meminfo, "MemTotal:").value_or(0) << 10;
    // Older kernels do not tell what is available.
    status.available_physical =
        number_after(meminfo, "MemAvailable:").value_or(number_after(meminfo, "MemFree:").value_or(0)) << 10;

    status.total_swap = number_after(meminfo, "SwapTotal:").value_or(0) << 10;

    // Lines are number:controllers:group; version 2 has the number 0 and names no controller.
    std::ifstream groups(root + "/proc/self/cgroup");
    std::string line;
    while (std::getline(groups, line)) {
        const size_t first = line.find(':');
        const size_t second = first == std::string::npos ? first : line.find(':', first + 1);
        if (second == std::string::npos) continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        std::string group = line.substr(second + 1);
        if (group == "/") group.clear();
        if (controllers.empty()) {
            apply_limits(status, root + "/sys/fs/cgroup", group, kVersion2);
        } else if (("," + controllers + ",").find(",memory,") != std::string::npos) {
            apply_limits(status, root + "/sys/fs/cgroup/memory", group, kVersion1);
        }
    }
    return status;
}

}  // namespace trel::os
