// One bit of some numbers changed while an operation runs, for tests of what becomes of it.
#pragma once

#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "os/types.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor_test {

// Counts the stages of one name; at the chosen ones it changes a bit of their memory.
class ChangedNumbers : public trel::ComputationStages {
  public:
    static constexpr trel::u64 kEvery = ~trel::u64(0);
    explicit ChangedNumbers(std::string stage, std::set<trel::u64> at = {}, trel::u64 place = 0)
        : stage_(std::move(stage)), at_(std::move(at)), place_(place) {}

    void at(const char* stage, void* memory, trel::u64 bytes) override {
        if (stage != stage_ || bytes == 0) return;
        const std::lock_guard lock(mutex_);
        const trel::u64 n = count++;
        if (!at_.contains(n) && !at_.contains(kEvery)) return;
        const trel::u64 bit = place_ % (8 * bytes);
        static_cast<trel::u8*>(memory)[bit / 8] ^= static_cast<trel::u8>(1u << bit % 8);
    }
    trel::u64 count = 0;

  private:
    const std::string stage_;
    const std::set<trel::u64> at_;
    const trel::u64 place_;
    std::mutex mutex_;
};

// Changes a bit of the number that is taken up n-th, or of what another stage ends with. Without n it only
// counts.
class OneChangedNumber final : public ChangedNumbers {
  public:
    static constexpr trel::u64 kNever = ~trel::u64(0);
    explicit OneChangedNumber(trel::u64 n = kNever, trel::u64 place = 0, const char* stage = "number")
        : ChangedNumbers(stage, n == kNever ? std::set<trel::u64>{} : std::set<trel::u64>{n}, place) {}
};

}  // namespace kalvor_test
