#include "os/machine.h"

#include <windows.h>

#include <vector>

namespace trel::os {

// The version that the system's own library carries. GetVersionEx() would answer with what the program is
// declared to be compatible with.
std::optional<std::string> system_version() {
    const wchar_t* const name = L"Kernel32.dll";
    DWORD unused = 0;
    const DWORD bytes = GetFileVersionInfoSizeW(name, &unused);
    if (bytes == 0) return std::nullopt;
    std::vector<char> data(bytes);
    if (!GetFileVersionInfoW(name, 0, bytes, data.data())) return std::nullopt;
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length)) return std::nullopt;
    if (!info || length < sizeof *info) return std::nullopt;
    return "Windows " + std::to_string(HIWORD(info->dwFileVersionMS)) + "." +
           std::to_string(LOWORD(info->dwFileVersionMS)) + " Build " +
           std::to_string(HIWORD(info->dwFileVersionLS));
}

u64 installed_memory(const std::string&) {
    ULONGLONG kilobytes = 0;
    if (!GetPhysicallyInstalledSystemMemory(&kilobytes)) return 0;
    return static_cast<u64>(kilobytes) << 10;
}

}  // namespace trel::os
