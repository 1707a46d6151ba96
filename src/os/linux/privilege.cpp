#include "os/privilege.h"

#include <sys/resource.h>

#include <cstdio>

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

PrivilegeResult acquire_privilege(const std::string& name) {
    if (name == "SeManageVolumePrivilege") return {};
    if (name != "SeLockMemoryPrivilege") return {PrivilegeFailure::lookup};
    if (has_capability(kCapIpcLock) || unlimited_locking()) return {};
    return {PrivilegeFailure::not_held};
}

const char* lock_privilege_advice() {
    return "To lock pages, raise the limit before the run: \"ulimit -l unlimited\" as root, or for an "
           "account\n"
           "the line \"<name> - memlock unlimited\" in /etc/security/limits.conf and a new login.\n"
           "For large pages, set some aside as root: \"sysctl vm.nr_hugepages=<number>\".";
}

}  // namespace trel::os
