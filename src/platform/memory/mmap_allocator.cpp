#include "platform/memory/mmap_allocator.h"

#include <algorithm>

#include "platform/memory/fill_pattern.h"
#include "platform/memory/page_locking.h"
#include "platform/memory/page_region.h"
#include "platform/memory/placement.h"
#include "base/settings/setting_lines.h"

namespace trel {

MmapConfig::MmapConfig(const Config::Object& object) : calls_(&MemoryCalls::of_this_machine()) {
    large_pages.set(object.get_string(large_pages.name));
    locked_pages.set(object.get_string(locked_pages.name));
}

std::string MmapConfig::name() const {
    return "mmap";
}
std::string MmapConfig::display_name() const {
    return kDisplayName;
}

bool MmapConfig::acquire_permissions() const {
    if (large_pages.mode == OptionalFlag::kDisabled && locked_pages.mode == OptionalFlag::kDisabled)
        return true;
    return acquire_lock_privilege_or_warn(calls_->acquire_lock_privilege);
}

bool MmapConfig::allocate_large(PageRegion& region, const ParallelContext& context, u64 alignment_log2,
                                u64& bytes) const {
    const u64 page = calls_->large_page_size();
    if (page == 0) return false;
    (void)calls_->acquire_lock_privilege();
    const u64 rounded = round_up_to(bytes, page);
    const u64 alignment = u64(1) << alignment_log2;
    // Every mapping of large pages begins on one; a larger alignment needs room to move.
    const u64 mapped = alignment > page ? rounded + alignment : rounded;
    if (rounded == 0 || mapped < rounded) return false;
    if (!region.map(mapped, std::max(alignment, page), rounded, PageRegion::Kind::large_pages)) return false;
    bytes = rounded;
    fill_memory(context, region.pointer(), rounded);
    // Large pages stay in memory without being locked.
    region.stats_to_fill().large_page_bytes = rounded;
    region.stats_to_fill().large_page_size = page;
    measure_placement(*calls_, context, region.pointer(), rounded, region.stats_to_fill());
    return true;
}

bool MmapConfig::allocate_normal(PageRegion& region, const ParallelContext& context, u64 alignment_log2,
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
    fill_memory(context, region.pointer(), rounded);
    if (!region.lock(locked_pages)) {
        region.release();
        return false;
    }
    measure_placement(*calls_, context, region.pointer(), rounded, region.stats_to_fill());
    bytes = rounded;
    return true;
}

std::unique_ptr<LargeAllocation> MmapConfig::allocate(const ParallelContext& context, u64 alignment_log2,
                                                      u64& bytes) const {
    auto region = std::make_unique<PageRegion>(*calls_);
    bool done = false;
    if (large_pages.mode != OptionalFlag::kDisabled)
        done = allocate_large(*region, context, alignment_log2, bytes);
    if (!done && large_pages.mode != OptionalFlag::kForced) {
        done = allocate_normal(*region, context, alignment_log2, bytes);
    }
    return region;
}

std::unique_ptr<AllocatorConfig> MmapConfig::clone() const {
    return std::make_unique<MmapConfig>(*this);
}

Config::Object MmapConfig::to_config() const {
    Config::Object object;
    object.add_string(large_pages.name, large_pages.word());
    object.add_string(locked_pages.name, locked_pages.word());
    return object;
}

void MmapConfig::add_selectors(Config::Object& object) const {
    add_selector(object, large_pages.name, large_pages.word(), large_pages.selector_text());
    add_selector(object, locked_pages.name, locked_pages.word(), locked_pages.selector_text());
}

u64 MmapConfig::print(u64 first_line_number) const {
    print_setting_line(first_line_number, "    Large Pages:", kAllocatorLabelWidth,
                       large_pages.display_text(), large_pages.color());
    print_setting_line(first_line_number + 1, "    Lock Pages in Memory:", kAllocatorLabelWidth,
                       locked_pages.display_text(), locked_pages.color());
    return first_line_number + 2;
}

void MmapConfig::edit(u64 line) {
    if (line == 0) large_pages.advance();
    if (line == 1) locked_pages.advance();
}

namespace {

const AllocatorTypeOf<MmapConfig> g_type;
const AllocatorRegistration g_registration("mmap", g_type);

}  // namespace
}  // namespace trel
