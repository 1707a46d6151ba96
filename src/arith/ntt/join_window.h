// The bytes of a product that a transform hands out while it joins its points.
#pragma once

#include <algorithm>
#include <cstring>

#include "os/types.h"

namespace trel {

// Bytes [8 skip, 8 total) of the product, counted from its lowest byte, lie in T. Bytes [below_from, 8 skip)
// are kept in `below`, so that carries can run through them; everything else is dropped. Writes of different
// tasks must not overlap; add() is for one task.
class JoinWindow {
  public:
    JoinWindow(Word* T, u64 skip, u64 total, u8* below, u64 below_from)
        : base_(reinterpret_cast<u8*>(T)),
          below_(below),
          below_from_(below_from),
          lo_(8 * skip),
          hi_(8 * total) {}

    // Bytes [position, position + n) of the product.
    void write(u64 position, const u8* bytes, u64 n) const {
        const auto part = [&](u64 from, u64 to) {
            from = std::max(from, position);
            to = std::min(to, position + n);
            if (from < to) std::memcpy(at(from), bytes + (from - position), to - from);
        };
        part(below_from_, lo_);
        part(lo_, hi_);
    }
    // Adds a number of n bytes at a position, with carry to the window's end. Returns the carry out of it.
    u32 add(u64 position, const u8* bytes, u64 n) const {
        u32 carry = 0;
        for (u64 i = 0; i < n || carry != 0; i++, position++) {
            if (position >= hi_) return carry;
            if (position < below_from_) continue;
            carry += *at(position) + (i < n ? bytes[i] : 0u);
            *at(position) = static_cast<u8>(carry);
            carry >>= 8;
        }
        return carry;
    }

  private:
    u8* at(u64 position) const {
        return position < lo_ ? below_ + (position - below_from_) : base_ + (position - lo_);
    }

    u8* base_;
    u8* below_;
    u64 below_from_, lo_, hi_;
};

}  // namespace trel
