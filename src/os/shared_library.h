// Libraries that are looked for when the program runs.
#pragma once

namespace trel::os {

// Looks in the program's own folder, then where the system has its libraries (on Linux also in the folders of
// LD_LIBRARY_PATH). Never in the current folder, where anybody may have put one: a list LD_LIBRARY_PATH that
// has it in it is not looked through. A name with a folder in it must be a full path. Null when there is no
// such library. It stays loaded until the process ends.
void* open_shared_library(const char* name);
// The address of a symbol of the library; null when it has none of that name.
void* find_symbol(void* library, const char* symbol);

}  // namespace trel::os
