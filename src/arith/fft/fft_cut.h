// Cuts an operand's bits into points, also at its ends, where a whole vector would reach past the operand.
// Kernel files only.
//
// Points are balanced: field i of b bits is read as a signed number, and the carry that this leaves to field
// i + 1 is simply the top bit of field i. So a point is made of the b + 1 bits from bit i b - 1 on, with
// nothing to propagate, and worst-case operands give errors four times smaller (all-ones ones almost none).
// The last field of an operand stays unsigned: no point is ever added.
//
// Eight points are b bytes. Four of them lie within sixteen bytes of the byte before the first: a byte
// shuffle brings each into its own 32 bits, shifts do the rest. half 0: points 0 .. 3, half 1: points 4 .. 7.
#pragma once

#include "arith/fft/fft_butterflies.h"

namespace trel::TREL_ISA {
namespace {

struct Cutter {
    alignas(32) u8 shuffle[2][16];
    alignas(32) u32 left[2][4];
    u32 b;
    u32 half_offset;  // byte in which point 4 begins
};

TREL_INLINE void set_cutter(Cutter& cut, u32 b) {
    cut.b = b;
    cut.half_offset = 4 * b / 8;
    for (u32 h = 0; h < 2; h++) {
        for (u32 i = 0; i < 4; i++) {
            const u32 bit = 7 + (4 * b * h) % 8 + i * b;
            for (u32 j = 0; j < 4; j++) cut.shuffle[h][4 * i + j] = static_cast<u8>(bit / 8 + j);
            cut.left[h][i] = 32 - (bit % 8 + b + 1);
        }
    }
}

// Bytes that cut_points may read from the byte before eight points.
constexpr u64 kCutReach = 32;

// L points as doubles; p: the byte before their group of eight.
TREL_INLINE F64xL cut_points(const Cutter& cut, const u8* p, u32 half) {
    const int right = static_cast<int>(31 - cut.b);
#if TREL_ISA_avx512
    (void)half;
    __m256i x = _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    x = _mm256_inserti128_si256(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + cut.half_offset)), 1);
    x = _mm256_shuffle_epi8(x, _mm256_load_si256(reinterpret_cast<const __m256i*>(cut.shuffle[0])));
    x = _mm256_sllv_epi32(x, _mm256_load_si256(reinterpret_cast<const __m256i*>(cut.left[0])));
    x = _mm256_srav_epi32(x, _mm256_set1_epi32(right));  // 2 field + bit
    x = _mm256_sub_epi32(x, _mm256_srai_epi32(x, 1));    // field + bit
    return _mm512_cvtepi32_pd(x);
#else
    __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + (half ? cut.half_offset : 0)));
    x = _mm_shuffle_epi8(x, _mm_load_si128(reinterpret_cast<const __m128i*>(cut.shuffle[half])));
    x = _mm_sllv_epi32(x, _mm_load_si128(reinterpret_cast<const __m128i*>(cut.left[half])));
    x = _mm_srav_epi32(x, _mm_set1_epi32(right));  // 2 field + bit
    x = _mm_sub_epi32(x, _mm_srai_epi32(x, 1));    // field + bit
    return _mm256_cvtepi32_pd(x);
#endif
}

constexpr u64 kBlocksPerGroup = 8 / L;  // blocks that hold eight points

// An operand with copies of its ends, so that reads of whole vectors stay inside memory that is ours: `head`
// stands for bytes -1 .. 62, `tail` for the last 64 bytes and as many zeros.
struct Operand {
    alignas(64) u8 head[64];
    alignas(64) u8 tail[128];
    const u8* data;
    u64 bytes;
};

void set_operand(Operand& o, const u8* data, u64 bytes) {
    o.data = data;
    o.bytes = bytes;
    __builtin_memset(o.tail, 0, sizeof o.tail);
    o.head[0] = 0;
    if (bytes >= 64) {
        __builtin_memcpy(o.head + 1, data, 63);
        __builtin_memcpy(o.tail, data + bytes - 64, 64);
    } else {
        __builtin_memset(o.head, 0, sizeof o.head);
        for (u64 i = 0; i < bytes; i++) o.head[1 + i] = o.tail[64 - bytes + i] = data[i];
    }
}

// Groups of eight points at or near an end of the operand.
void cut_edge(const Cutter& cut, double* out, const Operand& o, u64 offset, u64 n) {
    for (u64 c = 0; c < n; c += kBlocksPerGroup, offset += cut.b) {
        double* group = out + c * kBlock;
        if (offset >= o.bytes) {
            for (u64 h = 0; h < kBlocksPerGroup; h++) store(group + h * kBlock, broadcast(0.0));
            continue;
        }
        const u64 rest = o.bytes - offset;
        const u8* p = offset == 0 ? o.head : rest < kCutReach ? o.tail + 64 - rest - 1 : o.data + offset - 1;
        for (u64 h = 0; h < kBlocksPerGroup; h++) {
            store(group + h * kBlock, cut_points(cut, p, static_cast<u32>(h)));
        }
        // a last field that is full and has its top bit set: unsigned, and without a carry
        if (rest <= cut.b && o.tail[63] >= 0x80) {
            const u32 fields = static_cast<u32>(8 * rest) / cut.b;
            if (fields * cut.b == 8 * rest) {
                const u32 i = fields - 1;
                group[i / L * kBlock + i % L] += static_cast<double>(u64(1) << cut.b);
                if (fields < 8) group[fields / L * kBlock + fields % L] -= 1;
            }
        }
    }
}

// n blocks (one part, re or im) of points, from the group of eight that starts at byte `offset` of the
// operand.
TREL_INLINE void cut_stream(const Cutter& cut, double* out, const Operand& o, u64 offset, u64 n) {
    if (offset >= o.bytes) {
        for (u64 c = 0; c < n; c++) store(out + c * kBlock, broadcast(0.0));
    } else if (offset != 0 && offset + n * cut.b + kCutReach <= o.bytes) {
        const u8* p = o.data + offset - 1;
        for (u64 c = 0; c < n; c++) {
            store(out + c * kBlock, cut_points(cut, p, c % kBlocksPerGroup));
            if ((c + 1) % kBlocksPerGroup == 0) p += cut.b;
        }
    } else {
        cut_edge(cut, out, o, offset, n);
    }
}

}  // namespace
}  // namespace trel::TREL_ISA
