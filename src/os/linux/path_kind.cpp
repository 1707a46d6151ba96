#include "os/path_kind.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace trel::os {

PathKind path_kind(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? PathKind::missing : PathKind::unknown;
    }
    if (S_ISDIR(status.st_mode)) return PathKind::folder;
    return S_ISREG(status.st_mode) ? PathKind::file : PathKind::other;
}

std::string absolute_path(const std::string& path) {
    if (!path.empty() && path[0] == '/') return path;
    char buffer[PATH_MAX];
    if (!getcwd(buffer, sizeof buffer)) return path;
    std::string out = buffer;
    if (path.empty()) return out;
    if (out.back() != '/') out += '/';
    return out + path;
}

}  // namespace trel::os
