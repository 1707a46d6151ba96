#include "os/sync.h"

#include <windows.h>

namespace trel::os {
namespace {

SRWLOCK* system_lock(void*& word) {
    static_assert(sizeof(SRWLOCK) == sizeof word);
    return reinterpret_cast<SRWLOCK*>(&word);
}

CONDITION_VARIABLE* system_variable(void*& word) {
    static_assert(sizeof(CONDITION_VARIABLE) == sizeof word);
    return reinterpret_cast<CONDITION_VARIABLE*>(&word);
}

}  // namespace

void Mutex::lock() noexcept {
    AcquireSRWLockExclusive(system_lock(lock_));
}

bool Mutex::try_lock() noexcept {
    return TryAcquireSRWLockExclusive(system_lock(lock_)) != 0;
}

void Mutex::unlock() noexcept {
    ReleaseSRWLockExclusive(system_lock(lock_));
}

void ConditionVariable::notify_one() noexcept {
    WakeConditionVariable(system_variable(variable_));
}

void ConditionVariable::notify_all() noexcept {
    WakeAllConditionVariable(system_variable(variable_));
}

void ConditionVariable::wait(std::unique_lock<Mutex>& lock) noexcept {
    SleepConditionVariableSRW(system_variable(variable_), system_lock(lock.mutex()->lock_), INFINITE, 0);
}

}  // namespace trel::os
