// What a remote user interface learns about the stress tester's settings before it runs them.
#pragma once

#include <memory>

#include "app/stress/stress_settings.h"
#include "base/config/node.h"
#include "base/names/names.h"

namespace kalvor {

// Each setting as {"Value", "DisplayText"}, "MemoryPerThread", each
// test with its texts and its "Scale", and the arrays "Warnings" and "Errors". With an error the settings
// cannot run.
std::unique_ptr<Config::Object> query_stress_settings(const StressSettings& settings,
                                                      const StressMachine& machine);

}  // namespace kalvor
