// The names in a folder.
#pragma once

#include <string>
#include <vector>

namespace trel::os {

// Without "." and "..", in no order; the empty path is the current folder. As far as the system tells them:
// none of a folder that is not there or must not be read.
std::vector<std::string> names_in_folder(const std::string& path);

}  // namespace trel::os
