#include "os/shared_library.h"

#include <windows.h>

#include "os/windows/utf8.h"

namespace trel::os {

void* open_shared_library(const char* name) {
    return reinterpret_cast<void*>(LoadLibraryW(to_utf16(name).c_str()));
}

void* find_symbol(void* library, const char* symbol) {
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(library), symbol));
}

}  // namespace trel::os
