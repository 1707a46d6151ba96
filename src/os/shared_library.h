// Libraries that are looked for when the program runs.
#pragma once

namespace trel::os {

// Null when there is no such library. It stays loaded until the process ends.
void* open_shared_library(const char* name);
// The address of a symbol of the library; null when it has none of that name.
void* find_symbol(void* library, const char* symbol);

}  // namespace trel::os
