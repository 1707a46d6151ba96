// The setting that the frameworks with a bounded dispatch share.
#pragma once

#include "os/types.h"

namespace trel {

// How many tasks a thread may start one after another before it fans out. At least 4: lower values are stored
// as 4.
class MaxSequentialDispatch {
  public:
    static constexpr u64 kLeast = 4;
    static constexpr u64 kDefault = 64;

    MaxSequentialDispatch() = default;
    explicit MaxSequentialDispatch(u64 value) : value_(value < kLeast ? kLeast : value) {}

    u64 value() const { return value_; }

  private:
    u64 value_ = kDefault;
};

}  // namespace trel
