#include "os/privilege.h"

#include <sys/resource.h>

#include <cstdio>

#include "os/types.h"

namespace trel::os {
namespace {

constexpr int kCapIpcLock = 14;

bool has_capability(int capability) {
    std::FILE* file = std::fopen("/proc/self/status", "re");
    if (!file) return false;
    char line[256];
    unsigned long long effective = 0;
    while (std::fgets(line, sizeof line, file)) {
        if (std::sscanf(line, "CapEff: %llx", &effective) == 1) break;
    }
    std::fclose(file);
    return (effective >> capability & 1) != 0;
}

bool unlimited_locking() {
    rlimit limit{};
    if (getrlimit(RLIMIT_MEMLOCK, &limit) != 0) return false;
    if (limit.rlim_cur == RLIM_INFINITY) return true;
    if (limit.rlim_max != RLIM_INFINITY) return false;
    limit.rlim_cur = RLIM_INFINITY;
    return setrlimit(RLIMIT_MEMLOCK, &limit) == 0;
}

}  // namespace

bool enable_privilege(Privilege privilege) {
    switch (privilege) {
        case Privilege::lock_memory:
            return has_capability(kCapIpcLock) || unlimited_locking();
        case Privilege::manage_volume:
            return true;
    }
    return false;
}

}  // namespace trel::os
