// The action "config": runs what a settings file describes.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/session/authorization_token.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// The cursor stands on "config"; the word after it is the file's path, ".cfg" may be left out. Throws
// InvalidParametersException "Please specify a config file.", "Invalid Action: " + action, or, after the
// report of what is wrong with the settings, "Cannot run computation with these parameters." ("stress test"
// for the action "StressTest", "benchmark" for "BenchIO", which this version does not have). Errors of the
// file itself pass as they are. False when the action failed.
bool run_config(CommandLine::ParameterList& parameters, const AuthorizationToken& token);
// The lines of "help config".
std::vector<std::string> config_help_page();

// What runs an action whose settings are sound; false when it failed.
using ConfigJob = std::function<bool()>;

// The job that `build` makes. What is wrong with the settings is printed first: an exception's report, or the
// message of an expected one (ConfigLoadException and its like) as an error line. Then
// InvalidParametersException with the text `rejected` is thrown.
ConfigJob build_or_reject(const std::function<ConfigJob()>& build, const char* rejected);

}  // namespace kalvor
