#include "os/environment.h"

#include <windows.h>

#include "os/windows/utf8.h"

namespace trel::os {

std::optional<std::string> environment_variable(const char* name) {
    const std::wstring wide_name = to_utf16(name);
    std::wstring value(256, L'\0');
    while (true) {
        SetLastError(ERROR_SUCCESS);
        const DWORD length =
            GetEnvironmentVariableW(wide_name.c_str(), value.data(), static_cast<DWORD>(value.size()));
        // An empty value has no length either, but is not an error.
        if (length == 0 && GetLastError() != ERROR_SUCCESS) return std::nullopt;
        if (length < value.size()) return to_utf8(std::wstring_view(value.data(), length));
        value.resize(length);
    }
}

}  // namespace trel::os
