#include "os/privilege.h"

#include <windows.h>

#include "os/windows/utf8.h"

namespace trel::os {
namespace {

PrivilegeFailure enable(HANDLE token, const std::string& name) {
    TOKEN_PRIVILEGES change{};
    change.PrivilegeCount = 1;
    change.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!LookupPrivilegeValueW(nullptr, to_utf16(name).c_str(), &change.Privileges[0].Luid)) {
        return PrivilegeFailure::lookup;
    }
    if (!AdjustTokenPrivileges(token, FALSE, &change, sizeof change, nullptr, nullptr)) {
        return PrivilegeFailure::adjust;
    }
    // The call succeeds without having done anything for an account that lacks the right.
    return GetLastError() == ERROR_NOT_ALL_ASSIGNED ? PrivilegeFailure::not_held : PrivilegeFailure::none;
}

}  // namespace

PrivilegeResult acquire_privilege(const std::string& name) {
    HANDLE token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token)) {
        return {PrivilegeFailure::token};
    }
    PrivilegeResult result{enable(token, name)};
    result.close_failed = !CloseHandle(token);
    return result;
}

const char* lock_privilege_advice() {
    return "Run secpol.msc as administrator and add your account to \"Lock pages in memory\"\n"
           "(Local Policies, User Rights Assignment), then log in again.";
}

}  // namespace trel::os
