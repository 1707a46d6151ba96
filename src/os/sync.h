// A mutex and a condition variable that may live in the frame of a function: they cost nothing to make, hold
// nothing of the system's, and they are never accessed after the last waiter returns. Used like the standard
// library's, with its lock_guard and unique_lock; these are the standard library's own where that keeps the
// promise. (The library of the Windows build never gives a mutex back and takes many system calls for a wake-up.)
#pragma once

#include <condition_variable>
#include <mutex>

namespace trel::os {

#ifdef _WIN32

class Mutex {
  public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() noexcept;
    bool try_lock() noexcept;
    void unlock() noexcept;

  private:
    friend class ConditionVariable;
    void* lock_ = nullptr;  // SRWLOCK
};

class ConditionVariable {
  public:
    constexpr ConditionVariable() = default;
    ConditionVariable(const ConditionVariable&) = delete;
    ConditionVariable& operator=(const ConditionVariable&) = delete;

    void notify_one() noexcept;
    void notify_all() noexcept;
    // May return without a notification.
    void wait(std::unique_lock<Mutex>& lock) noexcept;
    template <class Condition>
    void wait(std::unique_lock<Mutex>& lock, Condition condition) {
        while (!condition()) wait(lock);
    }

  private:
    void* variable_ = nullptr;  // CONDITION_VARIABLE
};

#else

using Mutex = std::mutex;
using ConditionVariable = std::condition_variable;

#endif

}  // namespace trel::os
