#include "os/folder.h"

#include <windows.h>

#include "os/path_kind.h"
#include "os/windows/utf8.h"
#include "os/windows/wide_path.h"

namespace trel::os {

std::vector<std::string> names_in_folder(const std::string& path) {
    std::vector<std::string> names;
    std::wstring wide;
    DWORD error = 0;
    // The form for long paths takes no "/", which wide_path() replaces, and no "." or "..".
    if (!wide_path(absolute_path(path).c_str(), wide, error)) return names;
    if (wide.empty() || wide.back() != L'\\') wide += L'\\';
    wide += L'*';
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileExW(wide.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch,
                                           nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (search == INVALID_HANDLE_VALUE) return names;
    do {
        std::string name = to_utf8(found.cFileName);
        if (name != "." && name != "..") names.push_back(std::move(name));
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return names;
}

}  // namespace trel::os
