// What a remote user interface learns about settings before it runs them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/settings/compute_settings.h"
#include "base/config/node.h"
#include "base/names/names.h"
#include "os/memory_status.h"

namespace kalvor {

// The selectors of the settings (compute_settings_selector()), "RequiredRam" in the same form, and the arrays
// "Warnings" and "Errors" of texts; with an error the settings cannot be run. A size that no algorithm
// reaches needs 0 bytes and is an error. warnings: what loading the settings had to correct.
std::unique_ptr<Config::Object> query_compute_settings(const ComputeSettings& settings,
                                                       const os::MemoryStatus& machine,
                                                       const std::vector<std::string>& warnings = {});

}  // namespace kalvor
