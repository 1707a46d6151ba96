// Settings files as menus load and save them.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/config/node.h"
#include "base/names/names.h"

namespace kalvor {

// The tree of a settings file, an object. What is wrong with its form is reported in a sentence with the file
// and the line, and passes as ParseException or EndOfStreamException. Throws SettingsFileException.
std::unique_ptr<Config::Node> load_settings_file(const std::string& path);

// Asks for the path of a settings file of the action and hands its settings to `take`. What is wrong with the
// file, and what `take` throws, is printed: then false. Throws EndOfStreamException at the end of the input.
bool load_from_menu(const std::string& action,
                    const std::function<void(const Config::Object& settings)>& take);
// Asks for a path and writes the settings there.
bool save_from_menu(const std::string& action, std::unique_ptr<Config::Object> settings);

}  // namespace kalvor
