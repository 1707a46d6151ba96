// The machine as a whole: which system it runs, how much memory is built in.
#pragma once

#include <optional>
#include <string>

#include "os/types.h"

namespace trel::os {

// The system and its version ("Windows 10.0 Build 18362", "Linux 6.1.0-18-amd64"); empty optional when the
// system does not tell.
std::optional<std::string> system_version();

// Bytes of memory in the machine, whatever this process is limited to; 0 = the system does not tell. `root`
// is put before the path of the file it is read from (tests).
u64 installed_memory(const std::string& root = "");

}  // namespace trel::os
