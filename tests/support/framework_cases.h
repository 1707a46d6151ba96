// The frameworks with the settings that tests run them with, and tasks that record what was done with them.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/parallel/basic_parallelizer.h"

namespace kalvor_test {

using trel::BasicAction;
using trel::BasicParallelizer;
using trel::u64;

// Counts the runs of each index and remembers the threads.
class Recorder final : public BasicAction {
  public:
    explicit Recorder(u64 n) : runs_(n) {}
    void run(u64 index) override {
        runs_.at(index)++;
        const std::lock_guard<std::mutex> lock(mutex_);
        order_.push_back(index);
        threads_.insert(std::this_thread::get_id());
        if (std::this_thread::get_id() == caller_) in_caller_.push_back(index);
    }
    void expect_once(u64 begin, u64 end) const {
        for (u64 i = 0; i < runs_.size(); i++) {
            ASSERT_EQ(runs_[i].load(), i >= begin && i < end ? 1 : 0) << "index " << i;
        }
    }
    std::vector<std::atomic<int>> runs_;
    std::mutex mutex_;
    std::vector<u64> order_;
    std::set<std::thread::id> threads_;
    std::vector<u64> in_caller_;
    const std::thread::id caller_ = std::this_thread::get_id();
};

// A framework and what has to live as long as it.
struct FrameworkUnderTest {
    std::shared_ptr<void> environment;
    std::unique_ptr<BasicParallelizer> framework;

    BasicParallelizer* get() const { return framework.get(); }
    BasicParallelizer& operator*() const { return *framework; }
    BasicParallelizer* operator->() const { return framework.get(); }
};

struct FrameworkCase {
    std::string name;
    std::string settings;  // letters and digits
    std::function<FrameworkUnderTest()> make;
    bool caller_runs_first = true;  // of a fork-join
    std::string closing_line = "FATAL ERROR: Unhandled exception in child thread.";

    std::string label() const { return name + settings; }
    bool thread_per_task() const { return name == "spawn" || name == "cppasync"; }
};

// Every framework with its defaults, those with a number of workers with 1, 2, 3, 7 and 16, and every other
// mode.
std::vector<FrameworkCase> framework_cases();
// Only those that create a thread for every task, or only the others.
std::vector<FrameworkCase> framework_cases(bool thread_per_task);
// Those with a number of workers, with all numbers up to 16 that the first list leaves out.
std::vector<FrameworkCase> framework_cases_of_other_counts();
// Those that run tasks on other threads.
std::vector<FrameworkCase> threaded_framework_cases();

// A tree of dispatches of four, every second level as fork-joins of fork-joins: 4^depth leaves, each once.
void run_tree(BasicParallelizer& framework, int depth);

}  // namespace kalvor_test
