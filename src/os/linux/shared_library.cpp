#include "os/shared_library.h"

#include <dlfcn.h>

namespace trel::os {

void* open_shared_library(const char* name) {
    return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

void* find_symbol(void* library, const char* symbol) {
    return dlsym(library, symbol);
}

}  // namespace trel::os
