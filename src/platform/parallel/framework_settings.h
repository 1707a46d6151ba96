// The settings that several frameworks have.
#pragma once

#include "base/settings/number_setting.h"

namespace trel {

// How many tasks a thread may start one after another before it fans out. At least 4.
class MaxSequentialDispatch final : public NumberSetting {
  public:
    static constexpr const char* kKey = "MaxSequentialDispatch";

    explicit MaxSequentialDispatch(u64 value = 64);
};

// The number of threads of a pool; 0 = unlimited.
class WorkerThreads final : public NumberSetting {
  public:
    static constexpr const char* kKey = "WorkerThreads";

    WorkerThreads();
};

}  // namespace trel
