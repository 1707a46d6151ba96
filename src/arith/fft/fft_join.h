// Rounded coefficients joined into the bytes of a product. Kernel files only.
#pragma once

#include "arith/fft/fft_butterflies.h"
#include "arith/fft/fft_cut.h"

namespace trel::TREL_ISA {
namespace {

struct JoinJob {
    const FftPlan* plan;
    const FftWindow* window;
    double* work;
    const double* streams;  // rounded coefficients: S streams of `step` blocks
    u64 column;             // first column of these blocks
    u64* carry;             // 2 S running carries, biased
};

// Eight point vectors (lanes are streams) -> b bytes a lane: words 0 and, for b > 16, 1 of them, and the last
// 8 bytes.
template <u32 b>
TREL_INLINE void join_points(const F64xL x[8], U64xL& carry, U64xL out[3]) {
    const U64xL bias = broadcast(kRounderBits >> b), mask = broadcast((u64(1) << b) - 1);
    U64xL w[3] = {broadcast(u64(0)), broadcast(u64(0)), broadcast(u64(0))};
    TREL_UNROLL for (u32 i = 0; i < 8; i++) {
        // the rounder's bits and the bias of the carry keep the sum positive, so logical shifts will do
        const U64xL t = bits_of(x[i]) - bias + carry;
        carry = t >> b;
        const U64xL digit = t & mask;
        const u32 word = i * b / 64, bit = i * b % 64;
        w[word] = bit == 0 ? digit : w[word] | digit << bit;
        if (bit + b > 64) w[word + 1] = digit >> (64 - bit);
    }
    constexpr u32 kLast = b <= 16 ? 1 : 2;
    constexpr u32 kOff = 8 * b - 64 * kLast;  // bits in the last word
    out[0] = w[0];
    out[1] = w[1];
    out[kLast] = kOff == 64 ? w[kLast] : w[kLast - 1] >> kOff | w[kLast] << (64 - kOff);
}

// Exactly b bytes from the words of one lane.
template <u32 b>
TREL_INLINE void store_points(u8* to, const u64* words) {
    __builtin_memcpy(to, words, 8);
    if (b > 16) __builtin_memcpy(to + 8, words + L, 8);
    __builtin_memcpy(to + b - 8, words + (b <= 16 ? L : 2 * L), 8);
}

// The same where the bytes may lie outside the window, or partly.
template <u32 b>
void store_clipped(const JoinJob& job, u64 stream, u64 column, const u64* words) {
    const FftPlan& plan = *job.plan;
    const FftWindow& w = *job.window;
    const u64 S = plan.streams(), columns = plan.columns();
    const u64 position = (stream * columns + column) / kBlocksPerGroup * b;
    if (position >= w.hi) return;
    if (position >= w.lo && position + b <= w.hi) return store_points<b>(w.base + position, words);
    const u64 part = stream >= S;
    u8* slot = reinterpret_cast<u8*>(job.work + ((stream - part * S) * columns + column) * kBlock + part * 8);
    store_points<b>(slot, words);
    for (u64 i = position < w.lo ? w.lo - position : 0; i < b && position + i < w.hi; i++) {
        w.base[position + i] = slot[i];
    }
}

template <u32 b>
void join_block(const JoinJob& job) {
    constexpr u32 kWords = b <= 16 ? 2 : 3;
    const FftPlan& plan = *job.plan;
    const FftWindow& window = *job.window;
    const u64 S = plan.streams(), step = plan.step;
    const u64 lane_bytes = plan.columns() * b / kBlocksPerGroup;
    for (u64 g = 0; g < 2 * S; g += L) {
        U64xL carry = load(job.carry + g);
        const double* in[L];
        for (u32 l = 0; l < L; l++) {
            const u64 part = g + l >= S;
            in[l] = job.streams + (g + l - part * S) * step * kBlock + part * L;
        }
        for (u64 c = 0; c < step; c += kBlocksPerGroup) {
            F64xL x[8];
            for (u64 h = 0; h < kBlocksPerGroup; h++) {
                for (u32 l = 0; l < L; l++) x[h * L + l] = load(in[l] + (c + h) * kBlock);
                transpose(x + h * L);
            }
            U64xL w[3];
            join_points<b>(x, carry, w);
            alignas(64) u64 words[kWords * L];
            for (u32 i = 0; i < kWords; i++) store(words + i * L, w[i]);
            const u64 column = job.column + c;
            const u64 position = g * lane_bytes + column / kBlocksPerGroup * b;
            if (__builtin_expect(position >= window.lo && position + (L - 1) * lane_bytes + b <= window.hi,
                                 1)) {
                u8* out = window.base + position;
                for (u32 l = 0; l < L; l++, out += lane_bytes) store_points<b>(out, words + l);
            } else {
                for (u32 l = 0; l < L; l++) store_clipped<b>(job, g + l, column, words + l);
            }
        }
        store(job.carry + g, carry);
    }
}

using JoinBlock = void (*)(const JoinJob&);
constexpr JoinBlock kJoinBlock[22] = {
    nullptr,        nullptr,        nullptr,        nullptr,        nullptr,        nullptr,
    nullptr,        nullptr,        nullptr,        join_block<9>,  join_block<10>, join_block<11>,
    join_block<12>, join_block<13>, join_block<14>, join_block<15>, join_block<16>, join_block<17>,
    join_block<18>, join_block<19>, join_block<20>, join_block<21>};

}  // namespace
}  // namespace trel::TREL_ISA
