// Paths: UTF-8 in the program, UTF-16 in the system's calls; private to this back end.
#pragma once

#include <windows.h>

#include <string>

namespace trel::os {

// In the form that takes more than 260 characters where it has to be. Both "/" and "\" separate. False, with
// the system's number: no UTF-8, or no path that the system understands.
bool wide_path(const char* path, std::wstring& wide, DWORD& error);

}  // namespace trel::os
