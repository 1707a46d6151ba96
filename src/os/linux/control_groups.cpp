#include "os/linux/control_groups.h"

#include <algorithm>
#include <fstream>

#include "os/linux/number_list.h"

namespace trel::os {
namespace {

void visit_with_parents(const std::string& mount, std::string group, int version,
                        const std::function<void(const std::string& folder, int version)>& visit) {
    while (true) {
        visit(mount + group, version);
        const size_t slash = group.rfind('/');
        if (slash == std::string::npos) return;
        group.resize(slash);
    }
}

bool lists(const std::string& controllers, std::string_view wanted) {
    return ("," + controllers + ",").find("," + std::string(wanted) + ",") != std::string::npos;
}

// Quota and period in microseconds; the quota is -1, or a word in version 2, where there is no limit.
void lower_to(u32& processors, i64 quota, i64 period) {
    if (quota <= 0 || period <= 0) return;
    const i64 whole = std::min<i64>((quota - 1) / period + 1, kListLimit);
    if (processors == 0 || whole < processors) processors = static_cast<u32>(whole);
}

}  // namespace

void visit_control_groups(const std::string& root, std::string_view controller,
                          const std::function<void(const std::string& folder, int version)>& visit) {
    const std::string mounts = root + "/sys/fs/cgroup";
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
            visit_with_parents(mounts, group, 2, visit);
        } else if (lists(controllers, controller)) {
            // The folder has the name of the controller, or of all that are mounted together.
            visit_with_parents(mounts + "/" + std::string(controller), group, 1, visit);
            if (controllers != controller) visit_with_parents(mounts + "/" + controllers, group, 1, visit);
        }
    }
}

u32 processor_quota_of_groups(const std::string& root) {
    u32 processors = 0;
    visit_control_groups(root, "cpu", [&](const std::string& folder, int version) {
        if (version == 2) {
            std::ifstream file(folder + "/cpu.max");
            i64 quota, period;
            if (file >> quota >> period) lower_to(processors, quota, period);
        } else {
            lower_to(processors, read_integer(folder + "/cpu.cfs_quota_us").value_or(-1),
                     read_integer(folder + "/cpu.cfs_period_us").value_or(0));
        }
    });
    return processors;
}

}  // namespace trel::os
