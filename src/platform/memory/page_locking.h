// Keeping pages in memory, within whatever limit the system sets.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/status/warnings.h"
#include "os/error.h"
#include "os/types.h"

namespace trel {

// Acquires the right to lock memory and to use large pages, once per process.
bool acquire_lock_privilege();
// What went wrong with that otherwise than that the right is missing. Nothing on later calls.
std::vector<Warnings::Line> lock_privilege_warnings_once();
// The advice to the user, once per process, when pages could not be locked although that was asked for: the
// missing right and what can be done here. Nothing on later calls.
std::optional<std::string> lock_advice_once();

// The system calls behind lock_region(); tests bring their own.
struct LockingCalls {
    std::function<os::OsError(void* pointer, u64 bytes)> lock;
    std::function<os::OsError()> raise_limit;

    static const LockingCalls& of_this_machine();
};

// Locks as much of the region as the limit allows: a range that does not fit is halved, down to 1 MiB.
// Returns the bytes locked. One region at a time (a process-wide mutex).
u64 lock_region(void* pointer, u64 bytes, const LockingCalls& calls = LockingCalls::of_this_machine());

}  // namespace trel
