// The rights that some facilities ask the system for, and the words for the user when one is missing.
#pragma once

#include <string>
#include <vector>

#include "base/status/warnings.h"
#include "os/privilege.h"

namespace trel {

// "SeLockMemoryPrivilege" for large and locked pages, "SeManageVolumePrivilege" for swap files that are not
// filled with zeros first.
inline constexpr const char* kLockMemoryPrivilege = "SeLockMemoryPrivilege";
inline constexpr const char* kManageVolumePrivilege = "SeManageVolumePrivilege";

// Enables the privilege for the rest of the process; false when that does not succeed. `warnings` gets a line
// when the system does not know the name or refuses the change; an account that merely lacks the right is
// reported by the caller. `acquire` stands in for the system's call in tests. Any thread.
bool acquire_privilege(const std::string& name, std::vector<Warnings::Line>& warnings,
                       os::PrivilegeResult (*acquire)(const std::string&) = os::acquire_privilege);

// What menus warn with when swap mode is chosen without the privilege it needs.
inline constexpr const char* kSwapModeNeedsPrivilege =
    "Swap mode requires administrator privileges.\n"
    "Please run Kalvor as administrator with SeManageVolumePrivilege.";
// What is printed, in red, when such a run is attempted.
void print_swap_mode_refusal();

}  // namespace trel
