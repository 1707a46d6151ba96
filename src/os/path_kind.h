// What stands at a path, for messages: decisions are made by opening files.
#pragma once

#include <string>

#include "os/types.h"

namespace trel::os {

enum class PathKind : u8 {
    missing,
    file,
    folder,
    other,    // a device, a pipe ...
    unknown,  // the system does not say
};

PathKind path_kind(const std::string& path);

// The path with the current folder before it unless it is a whole one already; the empty path is the current
// folder. Nothing is resolved. The path itself where the system does not say.
std::string absolute_path(const std::string& path);

}  // namespace trel::os
