#include "os/machine.h"

#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include <fstream>
#include <sstream>

namespace trel::os {

std::optional<std::string> system_version() {
    utsname names;
    if (uname(&names) != 0) return std::nullopt;
    return std::string(names.sysname) + " " + names.release;
}

u64 installed_memory(const std::string& root) {
    std::ifstream file(root + "/proc/meminfo");
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string key;
        u64 kilobytes;
        if (words >> key >> kilobytes && key == "MemTotal:") return kilobytes << 10;
    }
    // A file that is there and tells nothing is not a system without files.
    struct sysinfo told {};
    if (file.is_open() || sysinfo(&told) != 0) return 0;
    return u64(told.totalram) * told.mem_unit;
}

}  // namespace trel::os
