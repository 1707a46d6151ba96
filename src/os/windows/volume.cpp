#include "os/volume.h"

#include <windows.h>

#include <string>

#include "os/windows/last_error.h"
#include "os/windows/wide_path.h"

namespace trel::os {
namespace {

std::string utf8(const std::wstring& wide) {
    const int units = static_cast<int>(wide.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
    std::string text(bytes > 0 ? static_cast<std::size_t>(bytes) : 0, '\0');
    if (bytes > 0) WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, text.data(), bytes, nullptr, nullptr);
    return text;
}

}  // namespace

VolumeSpace volume_space(const char* folder) {
    const char* const path = *folder == '\0' ? "." : folder;
    VolumeSpace space;
    space.volume = path;
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) {
        space.error = error_of(error);
        return space;
    }
    std::wstring volume(wide.size() + MAX_PATH, L'\0');
    if (GetVolumePathNameW(wide.c_str(), volume.data(), static_cast<DWORD>(volume.size())) != 0) {
        volume.resize(volume.find(L'\0'));
        space.volume = utf8(volume);
    }
    ULARGE_INTEGER free{};
    if (GetDiskFreeSpaceExW(wide.c_str(), &free, nullptr, nullptr) == 0) {
        space.error = error_of(GetLastError());
    } else {
        space.free_bytes = free.QuadPart;
    }
    return space;
}

}  // namespace trel::os
