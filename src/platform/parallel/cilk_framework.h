// "cilk": loops of the Cilk Plus run-time: the genuine library where the machine has one, else the library of
// this program behind the same entries.
#pragma once

#include <span>

#include "platform/parallel/framework_registry.h"

namespace trel {

// The entries of a run-time (cilk_entries.h says what they do).
struct CilkRuntime {
    int (*set_param)(const char* name, const char* value);
    void (*cilk_for_64)(void (*body)(void* data, u64 low, u64 high), void* data, u64 count, int grain);
    void (*end_cilk)();
    bool genuine;

    // The one of the first library of this list that can be loaded and has all entries; else the program's
    // own.
    static CilkRuntime load(std::span<const char* const> library_names);
    // Looked for once.
    static const CilkRuntime& of_this_machine();
};

class CilkFramework final : public BasicParallelizer {
  public:
    // Throws ResourceAcquisitionFailedException "__cilkrts_set_param() returned a failure. Unable to set # of
    // Cilk threads.", as a framework with another number of threads does while one exists: a process has one
    // run-time.
    CilkFramework(u64 worker_threads, const CilkRuntime& runtime);
    ~CilkFramework() override;  // ends the run-time's threads with the last framework
    CilkFramework(const CilkFramework&) = delete;
    CilkFramework& operator=(const CilkFramework&) = delete;

    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

  private:
    const CilkRuntime runtime_;
};

class CilkConfig final : public FrameworkConfigOf<CilkConfig> {
  public:
    static constexpr const char* kName = "cilk";
    static constexpr const char* kDisplayName = "Cilk Plus Work-Stealing";

    std::unique_ptr<BasicParallelizer> make_framework() const override;
    CilkConfig();  // as many threads as processors

    u64 worker_threads() const override { return threads.value(); }

    NumberSetting threads;

  protected:
    SettingList settings() override { return {&threads}; }
};

}  // namespace trel
