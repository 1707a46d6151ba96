// What the tests of this room share: kernels of every set, task frameworks with hostile orders.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "arith/kernels/word_kernels.h"
#include "platform/parallel/basic_parallelizer.h"
#include "reference/words.h"

namespace trel {

// Runs the tasks last to first.
class ReverseFramework final : public BasicParallelizer {
  public:
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        dispatches++;
        while (end > begin) action.run(--end);
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        b.run(0);
        a.run(0);
    }
    u64 dispatches = 0;
};

// A thread a task, or four threads that take turns where a thread takes long to start.
class ThreadFramework final : public BasicParallelizer {
  public:
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
#ifdef KALVOR_SLOW_THREADS
        const u64 step = std::min<u64>(end - begin, 4);
#else
        const u64 step = end - begin;
#endif
        std::vector<std::thread> threads;
        for (u64 first = begin; first < begin + step; first++) {
            threads.emplace_back([&action, first, end, step] {
                for (u64 i = first; i < end; i += step) action.run(i);
            });
        }
        for (auto& t : threads) t.join();
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        std::thread t([&] { b.run(0); });
        a.run(0);
        t.join();
    }
};

// Runs a test for every set of kernels that this processor can run.
class EveryKernelSet : public ::testing::TestWithParam<const WordKernels*> {
  protected:
    const WordKernels& k = *GetParam();
};

inline std::string kernel_set_name(const ::testing::TestParamInfo<const WordKernels*>& info) {
    return info.param->name;
}

}  // namespace trel
