#include "base/hash/sha256.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace trel {
namespace {

// The fractional parts of the cube roots of the first 64 primes.
constexpr u32 kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

}  // namespace

void Sha256::compress(const u8* block) {
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
    auto [a, b, c, d, e, f, g, h] = state_;
    for (int i = 0; i < 64; i++) {
        const u32 s1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
        const u32 t1 = h + s1 + ((e & f) ^ (~e & g)) + kRound[i] + w[i];
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
    for (int i = 0; i < 8; i++) state_[i] += sums[i];
}

void Sha256::update(const void* data, u64 n_bytes) {
    const u8* p = static_cast<const u8*>(data);
    const u64 held = n_bytes_ % 64;
    n_bytes_ += n_bytes;
    if (held != 0) {
        const u64 n = std::min<u64>(64 - held, n_bytes);
        if (n > 0) std::memcpy(pending_.data() + held, p, n);
        if (held + n < 64) return;
        compress(pending_.data());
        p += n;
        n_bytes -= n;
    }
    for (; n_bytes >= 64; p += 64, n_bytes -= 64) compress(p);
    if (n_bytes > 0) std::memcpy(pending_.data(), p, n_bytes);
}

Sha256Digest Sha256::finish() {
    const u64 n_bits = n_bytes_ * 8;
    // A one bit, zeros up to the last 8 bytes of a block, the length in bits.
    u8 padding[72] = {0x80};
    const u64 zeros = (119 - n_bytes_ % 64) % 64;
    for (int i = 0; i < 8; i++) padding[1 + zeros + i] = static_cast<u8>(n_bits >> (56 - 8 * i));
    update(padding, 1 + zeros + 8);

    Sha256Digest digest;
    for (int i = 0; i < 32; i++) digest[i] = static_cast<u8>(state_[i / 4] >> (24 - 8 * (i % 4)));
    return digest;
}

Sha256Digest sha256(std::string_view text) {
    Sha256 hash;
    hash.update(text);
    return hash.finish();
}

Sha256Digest hmac_sha256(std::string_view key, std::string_view text) {
    std::array<u8, 64> padded{};
    if (key.size() > padded.size()) {
        const Sha256Digest digest = sha256(key);
        std::copy(digest.begin(), digest.end(), padded.begin());
    } else {
        std::copy(key.begin(), key.end(), padded.begin());
    }
    std::array<u8, 64> inner_key, outer_key;
    for (size_t i = 0; i < padded.size(); i++) {
        inner_key[i] = padded[i] ^ 0x36;
        outer_key[i] = padded[i] ^ 0x5c;
    }
    Sha256 inner, outer;
    inner.update(inner_key.data(), inner_key.size());
    inner.update(text);
    const Sha256Digest digest = inner.finish();
    outer.update(outer_key.data(), outer_key.size());
    outer.update(digest.data(), digest.size());
    return outer.finish();
}

std::string to_hex(const Sha256Digest& digest) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (const u8 byte : digest) {
        out += kDigits[byte >> 4];
        out += kDigits[byte & 15];
    }
    return out;
}

}  // namespace trel
