// How the settings of pluggable parts (frameworks, allocators) stand in menus and in the objects that remote
// user interfaces get.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/console/console.h"

namespace trel {

// "   1    Worker Threads:             Unlimited": the number, the label padded to `width`, the value in its
// colour.
void print_setting_line(u64 number, std::string_view label, u64 width, std::string_view value,
                        Console::ColorLetter color);

// "   0    Push Pool" and so on after the title; returns the index that the user chooses.
u64 select_from_list(std::string_view title, const std::vector<std::string>& display_names);

// Adds the member key : {"Value" : value, "DisplayText" : text}.
void add_selector(Config::Object& object, const std::string& key, i64 value, const std::string& text);
void add_selector(Config::Object& object, const std::string& key, const std::string& value,
                  const std::string& text);
void add_bool_selector(Config::Object& object, const std::string& key, bool value, const std::string& text);

// Appends the members of `from`.
void merge(Config::Object& into, const Config::Object& from);

}  // namespace trel
