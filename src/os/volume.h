// The volume that a folder lies on.
#pragma once

#include <string>

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

struct [[nodiscard]] VolumeSpace {
    std::string volume;  // where it is mounted ("/home"), or its letter ("C:\\")
    u64 free_bytes = 0;  // that this user may fill
    OsError error;
};

// folder: "" is the current one.
VolumeSpace volume_space(const char* folder);

}  // namespace trel::os
