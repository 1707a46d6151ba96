// The control groups that this process is in: what a container may use of its machine.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "os/types.h"

namespace trel::os {

// Calls `visit` with the folder of the process's group for the controller ("memory", "cpu") and with those of
// all groups around it, for version 1 and 2 of the facility; a folder need not exist. `root` is put before
// the paths.
void visit_control_groups(const std::string& root, std::string_view controller,
                          const std::function<void(const std::string& folder, int version)>& visit);

// Processor time that the groups allow, in processors and rounded up; 0 = no limit.
u32 processor_quota_of_groups(const std::string& root);

}  // namespace trel::os
