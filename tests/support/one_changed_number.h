// One bit of one number changed while an operation runs, for tests of what becomes of it.
#pragma once

#include <cstring>

#include "os/types.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor_test {

// Changes a bit of the number that is taken up n-th, or of what another stage ends with. Without n it only
// counts.
class OneChangedNumber final : public trel::ComputationStages {
  public:
    static constexpr trel::u64 kNever = ~trel::u64(0);
    explicit OneChangedNumber(trel::u64 n = kNever, trel::u64 place = 0, const char* stage = "number")
        : n_(n), place_(place), stage_(stage) {}

    void at(const char* stage, void* memory, trel::u64 bytes) override {
        if (std::strcmp(stage, stage_) != 0 || bytes == 0) return;
        if (count++ != n_) return;
        const trel::u64 bit = place_ % (8 * bytes);
        static_cast<trel::u8*>(memory)[bit / 8] ^= static_cast<trel::u8>(1u << bit % 8);
    }
    trel::u64 count = 0;

  private:
    trel::u64 n_, place_;
    const char* stage_;
};

}  // namespace kalvor_test
