#include "platform/memory/page_locking.h"

#include <mutex>

#include "base/errors/one_shot_warning.h"
#include "os/memory.h"
#include "os/privilege.h"
#include "platform/sysinfo/privileges.h"

namespace trel {
namespace {

constinit OneShotWarning lock_advice;

constexpr u64 kMinHalvedBytes = u64(1) << 20;

struct LockPrivilege {
    LockPrivilege() : held(acquire_privilege(kLockMemoryPrivilege, warnings)) {}

    std::vector<Warnings::Line> warnings;
    const bool held;
};

const LockPrivilege& lock_privilege() {
    static const LockPrivilege privilege;
    return privilege;
}

std::mutex& locking_mutex() {
    static std::mutex mutex;
    return mutex;
}

u64 lock_range(char* pointer, u64 bytes, const LockingCalls& calls) {
    os::OsError error = calls.lock(pointer, bytes);
    if (!error) return bytes;
    const bool raised = !calls.raise_limit();
    error = calls.lock(pointer, bytes);
    if (!error) return bytes;
    if (error.category != os::ErrorCategory::quota || !raised || bytes < kMinHalvedBytes) return 0;
    const u64 half = bytes / 2;
    const u64 first = lock_range(pointer, half, calls);
    return first + lock_range(pointer + half, bytes - half, calls);
}

}  // namespace

bool acquire_lock_privilege() {
    return lock_privilege().held;
}

std::vector<Warnings::Line> lock_privilege_warnings_once() {
    static constinit OneShotWarning warning;
    if (!warning.first_time()) return {};
    return lock_privilege().warnings;
}

std::optional<std::string> lock_advice_once() {
    if (!lock_advice.first_time()) return std::nullopt;
    return std::string(
               "Unable to acquire the permission, \"SeLockMemoryPrivilege\".\n"
               "Large pages and page locking may not be possible.\n\n"
               "Expect larger performance penalties from Meltdown mitigation.\n\n") +
           os::lock_privilege_advice();
}

const LockingCalls& LockingCalls::of_this_machine() {
    static const LockingCalls calls{os::lock_memory, os::raise_lock_limit};
    return calls;
}

u64 lock_region(void* pointer, u64 bytes, const LockingCalls& calls) {
    const std::lock_guard<std::mutex> guard(locking_mutex());
    return lock_range(static_cast<char*>(pointer), bytes, calls);
}

}  // namespace trel
