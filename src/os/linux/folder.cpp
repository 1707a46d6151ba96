#include "os/folder.h"

#include <dirent.h>

namespace trel::os {

std::vector<std::string> names_in_folder(const std::string& path) {
    std::vector<std::string> names;
    DIR* const folder = opendir(path.empty() ? "." : path.c_str());
    if (folder == nullptr) return names;
    while (const dirent* const entry = readdir(folder)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(std::move(name));
    }
    closedir(folder);
    return names;
}

}  // namespace trel::os
