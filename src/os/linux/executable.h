// The path of the running program's file, from the two places that tell it.
#pragma once

#include <optional>
#include <string>

namespace trel::os {

// What the link of /proc points to.
std::optional<std::string> path_of_link(const char* link);
// By the path that the program was started with: for systems without /proc.
std::optional<std::string> path_of_start();
// By the link if there is one.
std::optional<std::string> path_of_program(const char* link);

}  // namespace trel::os
