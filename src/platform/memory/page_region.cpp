#include "platform/memory/page_region.h"

#include <cstdint>
#include <optional>
#include <string>

#include "platform/memory/page_locking.h"

namespace trel {

u64 round_up_to(u64 n, u64 power) {
    return n > ~u64(0) - (power - 1) ? 0 : (n + power - 1) & ~(power - 1);
}

bool PageRegion::map(u64 mapped, u64 alignment, u64 bytes, Kind kind) {
    const os::MappedMemory memory =
        kind == Kind::reserved ? calls_.reserve(mapped) : calls_.map(mapped, kind == Kind::large_pages);
    if (!memory.base) return false;
    base_ = memory.base;
    mapped_ = memory.bytes;
    const u64 address = reinterpret_cast<std::uintptr_t>(base_);
    pointer_ = static_cast<char*>(base_) + (round_up_to(address, alignment) - address);
    bytes_ = bytes;
    stats_ = std::make_unique<MemoryStats>();
    stats_->total_bytes = bytes;
    return true;
}

void PageRegion::release() {
    // Cannot fail for a mapping of ours; nothing could be done about it either.
    if (base_) (void)calls_.unmap(base_, mapped_);
    base_ = pointer_ = nullptr;
    mapped_ = bytes_ = 0;
    stats_.reset();
}

bool PageRegion::lock(const ParallelContext& parallel, const OptionalFlag& flag) {
    if (flag.mode == OptionalFlag::kDisabled) return true;
    const bool right_held = calls_.acquire_lock_privilege();
    const u64 locked = lock_region(pointer_, bytes_, LockingCalls{calls_.lock, calls_.raise_lock_limit});
    if (locked < bytes_ && !right_held) advise_about_locking(parallel, flag);
    if (locked < bytes_ && flag.mode == OptionalFlag::kForced) return false;
    stats_->locked_bytes = locked;
    return true;
}

void PageRegion::advise_about_locking(const ParallelContext& parallel, const OptionalFlag& flag) {
    if (!flag.chosen) return;
    if (const std::optional<std::string> advice = lock_advice_once()) parallel.warn({{*advice, ' ', true}});
}

void PageRegion::add_warnings(const std::vector<std::string>& warnings) {
    warnings_.insert(warnings_.end(), warnings.begin(), warnings.end());
}

}  // namespace trel
