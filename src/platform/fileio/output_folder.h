// The folder that results are written to.
#pragma once

#include <string>

namespace trel::FileIO {

// Adds the final "/" (an empty path stays empty: the current folder), makes the folder and its missing
// parents, and checks that files can be made in it. Returns the path. Throws FileException "Path is not
// writable.".
std::string prepare_output_folder(const std::string& path);

}  // namespace trel::FileIO
