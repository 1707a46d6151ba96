#include "os/shared_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "os/process.h"

namespace trel::os {
namespace {

// An empty element of the list is the current folder, and so is what a relative one begins with.
bool names_current_folder(std::string_view list) {
    while (true) {
        const size_t end = list.find_first_of(":;");
        const std::string_view folder = list.substr(0, end);
        if (!folder.starts_with('/') && !folder.starts_with("$ORIGIN") && !folder.starts_with("${ORIGIN}"))
            return true;
        if (end == std::string_view::npos) return false;
        list.remove_prefix(end + 1);
    }
}

void* load(const char* path) {
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

}  // namespace

void* open_shared_library(const char* name) {
    const std::string_view text = name;
    if (text.find('/') != std::string_view::npos) return text.front() == '/' ? load(name) : nullptr;
    if (const std::optional<std::string> program = executable_path()) {
        const std::string own = program->substr(0, program->rfind('/') + 1) + name;
        if (access(own.c_str(), F_OK) == 0) {
            if (void* const library = load(own.c_str())) return library;
        }
    }
    const char* const list = std::getenv("LD_LIBRARY_PATH");
    if (list != nullptr && *list != '\0' && names_current_folder(list)) return nullptr;
    return load(name);
}

void* find_symbol(void* library, const char* symbol) {
    return dlsym(library, symbol);
}

}  // namespace trel::os
