#include "os/volume.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "os/linux/errno_error.h"

namespace trel::os {
namespace {

// The highest folder above `path` (absolute, without links) that lies on the same device.
std::string mount_point(std::string path) {
    struct stat here {
    }, above{};
    if (stat(path.c_str(), &here) != 0) return path;
    while (path.size() > 1) {
        const std::size_t slash = path.rfind('/');
        const std::string parent = slash == 0 ? "/" : path.substr(0, slash);
        if (stat(parent.c_str(), &above) != 0 || above.st_dev != here.st_dev) break;
        path = parent;
    }
    return path;
}

}  // namespace

VolumeSpace volume_space(const char* folder) {
    const char* const path = *folder == '\0' ? "." : folder;
    VolumeSpace space;
    char absolute[PATH_MAX];
    space.volume = realpath(path, absolute) != nullptr ? mount_point(absolute) : path;
    struct statvfs status {};
    int result;
    do {
        result = statvfs(path, &status);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        space.error = error_of(errno);
    } else {
        space.free_bytes = static_cast<u64>(status.f_bavail) * static_cast<u64>(status.f_frsize);
    }
    return space;
}

}  // namespace trel::os
