// "cilk": loops of the Cilk Plus run-time: the one that is built into this program or, when the settings ask
// for it (Runtime : "library"), the genuine library of the machine behind the same entries.
#pragma once

#include <span>

#include "base/settings/word_setting.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

// The entries of a run-time (cilk_entries.h says what they do). Not only tests choose: the settings do.
struct CilkCalls {
    int (*set_param)(const char* name, const char* value);
    void (*cilk_for_64)(void (*body)(void* data, u64 low, u64 high), void* data, u64 count, int grain);
    void (*end_cilk)();
    const char* library = nullptr;  // its name; null for the one that is built in

    static CilkCalls built_in();
    // The one of the first library of this list that can be loaded and has all entries; else the one that is
    // built in.
    static CilkCalls load(std::span<const char* const> library_names);
    // By the names of the genuine library; looked for once, when it is first asked for.
    static const CilkCalls& of_this_machine();
};

class CilkFramework final : public BasicParallelizer {
  public:
    // Throws ResourceAcquisitionFailedException "__cilkrts_set_param() returned a failure. Unable to set # of
    // Cilk threads.", as a framework with another number of threads does while one exists: a process has one
    // run-time.
    CilkFramework(u64 worker_threads, const CilkCalls& runtime);
    ~CilkFramework() override;  // ends the run-time's threads with the last framework
    CilkFramework(const CilkFramework&) = delete;
    CilkFramework& operator=(const CilkFramework&) = delete;

    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override;
    void run_in_parallel(BasicAction& a, BasicAction& b) override;

  private:
    const CilkCalls runtime_;
};

class CilkConfig final : public FrameworkConfigOf<CilkConfig> {
  public:
    static constexpr const char* kName = "cilk";
    static constexpr const char* kDisplayName = "Cilk Plus Work-Stealing";

    CilkConfig();  // as many threads as processors

    std::unique_ptr<BasicParallelizer> make_framework() const override;
    std::string mode_text() const override;
    u64 worker_threads() const override { return threads.value(); }
    bool limit_threads(u64 n) override {
        threads.set(n);
        return true;
    }

    NumberSetting threads;
    // A library is foreign code, so it is loaded only if the user's settings ask for it.
    WordSetting runtime;

  protected:
    SettingList settings() override { return {&threads}; }
    SettingList file_only() override { return {&runtime}; }
};

}  // namespace trel
