// Rights of the process that some facilities need, by the names that Windows gives them. A facility that the
// system gives to everybody counts as held.
//   "SeLockMemoryPrivilege"    locked memory and large pages without a limit
//   "SeManageVolumePrivilege"  reserving file space without writing zeros
#pragma once

#include <string>

#include "os/types.h"

namespace trel::os {

// Where an attempt ended.
enum class PrivilegeFailure : u8 {
    none,
    token,     // the process may not change its own rights
    lookup,    // the system knows no such name
    adjust,    // the system refused the change
    not_held,  // the account does not have the right
};

struct [[nodiscard]] PrivilegeResult {
    PrivilegeFailure failure = PrivilegeFailure::none;
    bool close_failed = false;  // the process token stayed open

    bool held() const { return failure == PrivilegeFailure::none; }
};

// Acquires the privilege for the rest of the process where that is possible. Any thread.
PrivilegeResult acquire_privilege(const std::string& name);

// What a user of this system can do to get "SeLockMemoryPrivilege". Two or three lines.
const char* lock_privilege_advice();

}  // namespace trel::os
