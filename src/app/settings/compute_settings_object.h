// The settings of a computation as a configuration object ("CustomCompute" of a settings file).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/settings/compute_table.h"
#include "base/names/names.h"

namespace kalvor {

// Reads every setting of the table that files have; all are required. The members of swap mode are allowed
// and not looked at. Digit counts out of bounds and compression of too few digits are corrected; `warnings`
// receives what there is to say about it. What is wrong with a member is reported in a sentence, then thrown.
// Nothing else happens: the output folder is not looked at.
//
// Throws ParseException and KeyNotFoundException for what is missing or of the wrong type,
// InvalidParametersException for values that cannot be used.
ComputeSettings load_compute_settings(const Config::Object& object, std::vector<std::string>& warnings,
                                      const SettingsTable& table = compute_settings_table());

// The same object again, in its order. Loading it gives equal settings.
std::unique_ptr<Config::Object> save_compute_settings(const ComputeSettings& settings,
                                                      const SettingsTable& table = compute_settings_table());

// The same object for a remote user interface: {"Value", "DisplayText"} in place of every value, except where
// a framework's own selector says otherwise.
std::unique_ptr<Config::Object> compute_settings_selector(
    const ComputeSettings& settings, const SettingsTable& table = compute_settings_table());

}  // namespace kalvor
