// Rights of the process that some facilities need. A facility that the system gives to everybody counts as
// held.
#pragma once

namespace trel::os {

enum class Privilege {
    lock_memory,    // "SeLockMemoryPrivilege": locked memory and large pages without a limit
    manage_volume,  // "SeManageVolumePrivilege": reserving file space without writing zeros
};

// Acquires the privilege for the rest of the process where that is possible; returns whether it is held.
[[nodiscard]] bool enable_privilege(Privilege privilege);

}  // namespace trel::os
