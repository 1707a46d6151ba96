// A framework that runs tasks on threads of their own, for tests of code that splits its work.
#pragma once

#include <thread>
#include <vector>

#include "platform/parallel/basic_parallelizer.h"

namespace kalvor_test {

class ThreadFramework final : public trel::BasicParallelizer {
  public:
    void run_in_parallel(trel::BasicAction& action, trel::u64 begin, trel::u64 end) override {
        std::vector<std::thread> threads;
        for (trel::u64 i = begin + 1; i < end; i++) threads.emplace_back([&action, i] { action.run(i); });
        if (begin < end) action.run(begin);
        for (std::thread& t : threads) t.join();
    }
    void run_in_parallel(trel::BasicAction& a, trel::BasicAction& b) override {
        std::thread thread([&b] { b.run(0); });
        a.run(0);
        thread.join();
    }
};

inline trel::BasicParallelizer* thread_framework() {
    static ThreadFramework framework;
    return &framework;
}

}  // namespace kalvor_test

// Tests use the names alone.
using kalvor_test::thread_framework;
using kalvor_test::ThreadFramework;
