#include "platform/memory/mmap_allocator.h"

#include <algorithm>

#include "platform/memory/fill_pattern.h"
#include "platform/memory/page_locking.h"
#include "platform/memory/page_region.h"
#include "platform/memory/placement.h"

namespace trel {

bool MmapConfig::acquire_permissions(const ParallelContext& parallel) const {
    if (large_pages.mode == OptionalFlag::kDisabled && locked_pages.mode == OptionalFlag::kDisabled)
        return true;
    const bool held = calls_->acquire_lock_privilege();
    parallel.warn(lock_privilege_warnings_once());
    return held;
}

bool MmapConfig::allocate_large(PageRegion& region, const ParallelContext& parallel, u64 alignment_log2,
                                u64& bytes) const {
    const u64 page = calls_->large_page_size();
    if (page == 0) return false;
    const bool right_held = calls_->acquire_lock_privilege();
    const u64 rounded = round_up_to(bytes, page);
    const u64 alignment = u64(1) << alignment_log2;
    // Every mapping of large pages begins on one; a larger alignment needs room to move.
    const u64 mapped = alignment > page ? rounded + alignment : rounded;
    if (rounded == 0 || mapped < rounded) return false;
    if (!region.map(mapped, std::max(alignment, page), rounded, PageRegion::Kind::large_pages)) {
        if (!right_held) PageRegion::advise_about_locking(parallel, large_pages);
        return false;
    }
    bytes = rounded;
    fill_memory(parallel, region.pointer(), rounded);
    // Large pages stay in memory without being locked.
    region.stats_to_fill().large_page_bytes = rounded;
    region.stats_to_fill().large_page_size = page;
    measure_placement(*calls_, parallel, region.pointer(), rounded, region.stats_to_fill());
    return true;
}

bool MmapConfig::allocate_normal(PageRegion& region, const ParallelContext& parallel, u64 alignment_log2,
                                 u64& bytes) const {
    const u64 page = calls_->page_size();
    const u64 rounded = round_up_to(bytes, page);
    u64 alignment = std::max(u64(1) << alignment_log2, page);
    // From a boundary of large pages on, the system can back the region with them of its own accord; the
    // transforms stride through gigabytes and live on that.
    const u64 large = calls_->large_page_size();
    if (large != 0 && rounded >= large) alignment = std::max(alignment, large);
    const u64 mapped = alignment > page ? rounded + alignment : rounded;
    if (rounded == 0 || mapped < rounded) return false;
    if (!region.map(mapped, alignment, rounded, PageRegion::Kind::normal)) return false;
    // Before the first touch: a page is as large as it was when it was touched.
    calls_->advise_large_pages(region.pointer(), rounded);
    fill_memory(parallel, region.pointer(), rounded);
    if (!region.lock(parallel, locked_pages)) {
        region.release();
        return false;
    }
    measure_placement(*calls_, parallel, region.pointer(), rounded, region.stats_to_fill());
    bytes = rounded;
    return true;
}

std::unique_ptr<LargeAllocation> MmapConfig::allocate(const ParallelContext& parallel, u64 alignment_log2,
                                                      u64& bytes) const {
    auto region = std::make_unique<PageRegion>(*calls_);
    bool done = false;
    if (large_pages.mode != OptionalFlag::kDisabled)
        done = allocate_large(*region, parallel, alignment_log2, bytes);
    if (!done && large_pages.mode != OptionalFlag::kForced) {
        done = allocate_normal(*region, parallel, alignment_log2, bytes);
    }
    return region;
}

namespace {

const AllocatorRegistration<MmapConfig> g_registration;

}  // namespace
}  // namespace trel
