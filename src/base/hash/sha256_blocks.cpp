#include "base/hash/sha256_blocks.h"

#include <bit>

#include "os/cpu.h"

namespace trel {
namespace {

void compress_block(u32* state, const u8* block) {
    u32 w[64];
    for (int i = 0; i < 16; i++) {
        w[i] = u32(block[4 * i]) << 24 | u32(block[4 * i + 1]) << 16 | u32(block[4 * i + 2]) << 8 |
               u32(block[4 * i + 3]);
    }
    for (int i = 16; i < 64; i++) {
        const u32 s0 = std::rotr(w[i - 15], 7) ^ std::rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
        const u32 s1 = std::rotr(w[i - 2], 17) ^ std::rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    u32 a = state[0], b = state[1], c = state[2], d = state[3];
    u32 e = state[4], f = state[5], g = state[6], h = state[7];
    for (int i = 0; i < 64; i++) {
        const u32 s1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const u32 t1 = h + s1 + ((e & f) ^ (~e & g)) + kSha256Round[i] + w[i];
        const u32 s0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
        const u32 t2 = s0 + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    const u32 sums[8] = {a, b, c, d, e, f, g, h};
    for (int i = 0; i < 8; i++) state[i] += sums[i];
}

}  // namespace

void sha256_compress_plain(u32* state, const u8* blocks, u64 n_blocks) {
    for (u64 i = 0; i < n_blocks; i++) compress_block(state, blocks + 64 * i);
}

bool has_sha_instructions() {
    constexpr u32 kSsse3 = u32(1) << 9, kSse41 = u32(1) << 19, kSha = u32(1) << 29;
    const u32 basic = os::cpuid(1).ecx;
    return (basic & kSsse3) != 0 && (basic & kSse41) != 0 && (os::cpuid(7).ebx & kSha) != 0;
}

Sha256Compress sha256_compress() {
    static const Sha256Compress fastest =
        has_sha_instructions() ? sha256_compress_sha : sha256_compress_plain;
    return fastest;
}

}  // namespace trel
