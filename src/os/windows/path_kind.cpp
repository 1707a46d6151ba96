#include "os/path_kind.h"

#include <windows.h>

#include "os/windows/utf8.h"
#include "os/windows/wide_path.h"

namespace trel::os {

PathKind path_kind(const std::string& path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path.c_str(), wide, error)) return PathKind::unknown;
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? PathKind::missing
                                                                              : PathKind::unknown;
    }
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) return PathKind::folder;
    return attributes & FILE_ATTRIBUTE_DEVICE ? PathKind::other : PathKind::file;
}

std::string absolute_path(const std::string& path) {
    const std::wstring wide = to_utf16(path.empty() ? "." : path);
    const DWORD needed = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
    if (needed == 0) return path;
    std::wstring full(needed, L'\0');
    const DWORD got = GetFullPathNameW(wide.c_str(), needed, full.data(), nullptr);
    if (got == 0 || got >= needed) return path;
    full.resize(got);
    return to_utf8(full);
}

}  // namespace trel::os
