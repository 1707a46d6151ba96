#include "os/memory_status.h"

#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>

#include "os/linux/control_groups.h"

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

void lower_to(MemoryStatus& status, u64 limit, u64 used) {
    status.total_physical = std::min(status.total_physical, limit);
    status.available_physical = std::min(status.available_physical, limit - std::min(limit, used));
}

// The file cache counts as use but can be taken back.
void apply_group(MemoryStatus& status, const std::string& folder, int version) {
    const LimitFiles& files = version == 2 ? kVersion2 : kVersion1;
    std::optional<u64> limit = number_in(folder + files.limit);
    // Above this one a group of version 2 is slowed down until hardly anything moves.
    const std::optional<u64> high = version == 2 ? number_in(folder + "/memory.high") : std::nullopt;
    if (high && (!limit || *high < *limit)) limit = high;
    if (!limit) return;
    const u64 usage = number_in(folder + files.usage).value_or(0);
    const u64 cache = number_after(folder + "/memory.stat", files.reclaimable).value_or(0);
    lower_to(status, *limit, usage - std::min(usage, cache));
}

// "ulimit -v" and "ulimit -d". What is in use already counts against them.
void apply_process_limits(MemoryStatus& status) {
    u64 pages = 0, data_kib = 0;
    std::ifstream("/proc/self/statm") >> pages;
    data_kib = number_after("/proc/self/status", "VmData:").value_or(0);
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
        lower_to(status, limit.rlim_cur, pages * static_cast<u64>(sysconf(_SC_PAGESIZE)));
    }
    if (getrlimit(RLIMIT_DATA, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
        lower_to(status, limit.rlim_cur, data_kib << 10);
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

    // A system that shows no files tells by a call.
    if (struct sysinfo told{}; status.total_physical == 0 && sysinfo(&told) == 0) {
        status.total_physical = u64(told.totalram) * told.mem_unit;
        status.available_physical = (u64(told.freeram) + told.bufferram) * told.mem_unit;
    }
    visit_control_groups(root, "memory", [&](const std::string& folder, int version) {
        apply_group(status, folder, version);
    });
    if (root.empty()) apply_process_limits(status);
    return status;
}

}  // namespace trel::os
