// n tasks that wait for each other: they finish only if n threads run them at the same time.
#pragma once

#include <condition_variable>
#include <mutex>

#include "platform/parallel/basic_parallelizer.h"

namespace kalvor_test {

struct Meeting final : trel::BasicAction {
    explicit Meeting(trel::u64 n) : missing(n) {}
    void run(trel::u64) override {
        std::unique_lock<std::mutex> lock(mutex);
        if (--missing == 0) all_here.notify_all();
        all_here.wait(lock, [&] { return missing == 0; });
    }
    std::mutex mutex;
    std::condition_variable all_here;
    trel::u64 missing;
};

}  // namespace kalvor_test
