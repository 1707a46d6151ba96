// A region of whole pages from the system, and what the allocators that make one have in common.
#pragma once

#include "base/settings/optional_flag.h"
#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"

namespace trel {

// n rounded up to a multiple of the power of two; 0 when that does not fit.
u64 round_up_to(u64 n, u64 power);

// Keeps the base that the system returned: the aligned pointer is not enough to give the region back.
class PageRegion final : public LargeAllocation {
  public:
    explicit PageRegion(const MemoryCalls& calls) : calls_(calls) {}
    ~PageRegion() override { release(); }

    enum class Kind { normal, large_pages, reserved };

    // Maps `mapped` bytes and takes the first multiple of the alignment in them. False when the system
    // refuses.
    bool map(u64 mapped, u64 alignment, u64 bytes, Kind kind);
    // Back to nothing, as after a failure; warnings stay.
    void release();
    // Locks the pages as the flag says and notes how much of them. False when they had to be locked and could
    // not.
    bool lock(const ParallelContext& parallel, const OptionalFlag& flag);

    MemoryStats& stats_to_fill() { return *stats_; }
    void add_warnings(const std::vector<std::string>& warnings);
    // Without the right to it the flag's pages could not be locked, or large ones had: the run's warnings say
    // what to do where that was asked for. Once per process.
    static void advise_about_locking(const ParallelContext& parallel, const OptionalFlag& flag);

  private:
    const MemoryCalls& calls_;
    void* base_ = nullptr;
    u64 mapped_ = 0;
};

}  // namespace trel
