#include "platform/sysinfo/privileges.h"

#include "base/console/console.h"

namespace trel {

bool acquire_privilege(const std::string& name, std::vector<Warnings::Line>& warnings,
                       os::PrivilegeResult (*acquire)(const std::string&)) {
    const auto warn = [&](const char* text) { warnings.push_back({text, ' ', true}); };
    const os::PrivilegeResult result = acquire(name);
    switch (result.failure) {
        case os::PrivilegeFailure::lookup:
            warn("LookupPrivilegeValue error");
            break;
        case os::PrivilegeFailure::adjust:
            warn("AdjustTokenPrivileges error");
            break;
        case os::PrivilegeFailure::none:
        case os::PrivilegeFailure::token:
        case os::PrivilegeFailure::not_held:
            break;
    }
    if (result.close_failed) warn("Unable to close handle");
    return result.held();
}

void print_swap_mode_refusal() {
    Console::error_line("Cannot Start: Swap mode requires administrator privileges.", true);
    Console::print_line("Please run Kalvor as administrator with SeManageVolumePrivilege.");
    Console::set_color('w');
}

}  // namespace trel
