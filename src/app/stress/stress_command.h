// The action "stress" and its settings files.
#pragma once

#include <functional>

#include "base/command_line/parameter_list.h"
#include "base/config/node.h"
#include "base/names/names.h"

namespace kalvor {

// The cursor stands on "stress". Alone it opens the menu; else the words are options and tags
// (stress_options.h). False when something failed.
bool run_stress_action(CommandLine::ParameterList& parameters);

// What a settings file with the action "StressTest" runs; `root` is its root object. Throws what
// load_stress_settings() throws, before anything runs.
std::function<bool()> build_stress_test(const Config::Object& root);

}  // namespace kalvor
