#include "platform/memory/mmap_allocator.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "os/memory.h"
#include "platform/memory/fill_pattern.h"
#include "platform/memory/page_locking.h"

namespace trel {
namespace {

// n rounded up to a multiple of the power of two; 0 when that does not fit.
u64 round_up(u64 n, u64 power) {
    return n > ~u64(0) - (power - 1) ? 0 : (n + power - 1) & ~(power - 1);
}

class MmapAllocation final : public LargeAllocation {
  public:
    MmapAllocation() = default;
    ~MmapAllocation() override { release(); }

    // Maps `mapped` bytes and takes the first multiple of the alignment in them. False when the system
    // refuses.
    bool map(u64 mapped, u64 alignment, u64 bytes, bool large_pages) {
        const os::MappedMemory memory = os::map_memory(mapped, large_pages);
        if (!memory.base) return false;
        base_ = memory.base;
        mapped_ = memory.bytes;
        const u64 address = reinterpret_cast<std::uintptr_t>(base_);
        pointer_ = static_cast<char*>(base_) + (round_up(address, alignment) - address);
        bytes_ = bytes;
        stats_ = std::make_unique<MemoryStats>();
        stats_->total_bytes = bytes;
        return true;
    }

    void release() {
        // Cannot fail for a mapping of ours; nothing could be done about it either.
        if (base_) (void)os::unmap_memory(base_, mapped_);
        base_ = pointer_ = nullptr;
        mapped_ = bytes_ = 0;
        stats_.reset();
    }

    MemoryStats& stats_to_fill() { return *stats_; }

  private:
    void* base_ = nullptr;
    u64 mapped_ = 0;
};

bool allocate_large(MmapAllocation& region, const ParallelContext& context, u64 alignment_log2, u64& bytes) {
    const u64 page = os::large_page_size();
    if (page == 0) return false;
    (void)acquire_lock_privilege();
    const u64 rounded = round_up(bytes, page);
    const u64 alignment = u64(1) << alignment_log2;
    // Every mapping of large pages begins on one; a larger alignment needs room to move.
    const u64 mapped = alignment > page ? round_up(rounded, page) + alignment : rounded;
    if (rounded == 0 || mapped < rounded) return false;
    if (!region.map(mapped, std::max(alignment, page), rounded, true)) return false;
    bytes = rounded;
    fill_memory(context, region.pointer(), rounded);
    region.stats_to_fill().large_page_bytes = rounded;
    region.stats_to_fill().large_page_size = page;
    return true;
}

bool allocate_normal(MmapAllocation& region, const ParallelContext& context, u64 alignment_log2, u64& bytes,
                     const OptionalFlag& locked_pages) {
    const u64 page = os::page_size();
    const u64 rounded = round_up(bytes, page);
    u64 alignment = std::max(u64(1) << alignment_log2, page);
    // From a boundary of large pages on, the system can back the region with them of its own accord; the
    // transforms stride through gigabytes and live on that.
    const u64 large = os::large_page_size();
    if (large != 0 && rounded >= large) alignment = std::max(alignment, large);
    const u64 mapped = alignment > page ? rounded + alignment : rounded;
    if (rounded == 0 || mapped < rounded) return false;
    if (!region.map(mapped, alignment, rounded, false)) return false;
    // Before the first touch: a page is as large as it was when it was touched.
    os::advise_large_pages(region.pointer(), rounded);
    fill_memory(context, region.pointer(), rounded);
    if (locked_pages.mode != OptionalFlag::kDisabled) {
        (void)acquire_lock_privilege();
        const u64 locked = lock_region(region.pointer(), rounded);
        if (locked < rounded && locked_pages.mode == OptionalFlag::kForced) {
            region.release();
            return false;
        }
        region.stats_to_fill().locked_bytes = locked;
    }
    bytes = rounded;
    return true;
}

}  // namespace

std::string MmapConfig::name() const {
    return "mmap";
}
std::string MmapConfig::display_name() const {
    return "WinAPI VirtualAlloc()";
}

bool MmapConfig::acquire_permissions() const {
    if (large_pages.mode == OptionalFlag::kDisabled && locked_pages.mode == OptionalFlag::kDisabled)
        return true;
    return acquire_lock_privilege_or_warn();
}

std::unique_ptr<LargeAllocation> MmapConfig::allocate(const ParallelContext& context, u64 alignment_log2,
                                                      u64& bytes) const {
    auto region = std::make_unique<MmapAllocation>();
    bool done = false;
    if (large_pages.mode != OptionalFlag::kDisabled)
        done = allocate_large(*region, context, alignment_log2, bytes);
    if (!done && large_pages.mode != OptionalFlag::kForced) {
        done = allocate_normal(*region, context, alignment_log2, bytes, locked_pages);
    }
    return region;
}

Config::Object MmapConfig::to_config() const {
    Config::Object object;
    object.add_string(large_pages.name, large_pages.word());
    object.add_string(locked_pages.name, locked_pages.word());
    return object;
}

std::unique_ptr<AllocatorConfig> MmapConfig::clone() const {
    return std::make_unique<MmapConfig>(*this);
}

namespace {

class MmapType final : public AllocatorType {
  public:
    std::string display_name() const override { return "WinAPI VirtualAlloc()"; }
    std::unique_ptr<AllocatorConfig> make_config(const Config::Object& object) const override {
        auto config = std::make_unique<MmapConfig>();
        for (OptionalFlag* flag : {&config->large_pages, &config->locked_pages}) {
            flag->set(object.get_string(flag->name));
        }
        return config;
    }
    std::unique_ptr<AllocatorConfig> make_default_config() const override {
        return std::make_unique<MmapConfig>();
    }
};

const MmapType g_type;
const AllocatorRegistration g_registration("mmap", g_type);

}  // namespace
}  // namespace trel
