// How settings and lists of choices stand in menus and in the objects that remote user interfaces get.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/console/colors.h"
#include "os/types.h"

namespace trel {

// "   1    Worker Threads:             Unlimited": the number, the label padded to `width` unless it ends in
// a blank, the value in its colour.
void print_setting_line(u64 number, std::string_view label, u64 width, std::string_view value,
                        Console::ColorLetter color, u64 number_width = 4);

// "   0    Push Pool" and so on after the title; returns the index that the user chooses.
u64 select_from_list(std::string_view title, const std::vector<std::string>& display_names);

// Adds the member key : {"Value" : value, "DisplayText" : text}.
void add_selector(Config::Object& object, const std::string& key, std::unique_ptr<Config::Node> value,
                  const std::string& text);

}  // namespace trel
