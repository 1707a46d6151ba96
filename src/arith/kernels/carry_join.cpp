#include "arith/kernels/carry_join.h"

#include <algorithm>

#include "arith/kernels/word_array.h"

namespace trel {
namespace {

constexpr u64 kParallelJoin = 8192;

u8 ripple_word(Word* T, u64 n, Word c, Ripple ripple) {
    return ripple == Ripple::carry ? add_word_ip(T, n, c) : sub_word_ip(T, n, c);
}

// Whether a carry that enters T[0..n) leaves it again.
bool passes_through(const Word* T, u64 n, Ripple ripple) {
    const Word pass = ripple == Ripple::carry ? ~Word(0) : 0;
    for (u64 i = 0; i < n; i++) {
        if (T[i] != pass) return false;
    }
    return true;
}

}  // namespace

u8 bp_carry_join(const u8* carries, const Blocks& blocks, Word* T, Ripple ripple, const ParallelContext& P) {
    const u64 count = blocks.count;
    if (blocks.n < kParallelJoin || P.tds < 2) {
        u8 carry = 0;  // leaves block k - 1, its own carry included
        for (u64 k = 0; k < count; k++) {
            carry = carries[k] | ripple_word(T + blocks.begin(k), blocks.size(k), carry, ripple);
        }
        return carry;
    }

    // A block that neither gets a carry nor lets one pass stops every chain, so most blocks are not even
    // looked at.
    u8 passes[kMaxBlocks + 1];
    parallel_for(P, count,
                 [&](u64 k) { passes[k] = passes_through(T + blocks.begin(k), blocks.size(k), ripple); });
    u8 incoming[kMaxBlocks + 1];
    u8 carry = 0;
    for (u64 k = 0; k < count; k++) {
        incoming[k] = carry;
        carry = carries[k] | (carry & passes[k]);
    }
    parallel_for(P, count, [&](u64 k) {
        if (incoming[k]) ripple_word(T + blocks.begin(k), blocks.size(k), 1, ripple);
    });
    return carry;
}

Word join_blocks(const Word* outs, const Blocks& blocks, Word* T, Ripple ripple, const ParallelContext& P) {
    // flags[k]: a carry into word 2 of block k + 1. Seen from T + 2 it enters that block at its start.
    u8 flags[kMaxBlocks + 1] = {};
    bool any = false;
    Word out = outs[blocks.count - 1];
    for (u64 k = 0; k + 1 < blocks.count; k++) {
        const u64 size = blocks.size(k + 1);
        const u8 over = ripple_word(T + blocks.begin(k + 1), std::min<u64>(size, 2), outs[k], ripple);
        if (over == 0) continue;
        if (size <= 2) {
            out += over;  // only the last block can be this short
        } else {
            flags[k] = 1;
            any = true;
        }
    }
    if (!any) return out;
    Blocks shifted = blocks;
    shifted.n -= 2;
    // A last block of at most two words does not count as a block of the shifted frame.
    shifted.count = (shifted.n - 1) / shifted.length + 1;
    return out + bp_carry_join(flags, shifted, T + 2, ripple, P);
}

}  // namespace trel
