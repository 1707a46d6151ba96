#include "base/hash/sha256.h"

#include <algorithm>
#include <cstring>

#include "base/hash/sha256_blocks.h"

namespace trel {

void Sha256::compress(const u8* data, u64 n) {
    (sha256_is_built_in() ? sha256_blocks_built_in : sha256_blocks_plain)(state_.data(), data, n);
}

void Sha256::update(const void* data, u64 n_bytes) {
    const u8* p = static_cast<const u8*>(data);
    const u64 held = n_bytes_ % 64;
    n_bytes_ += n_bytes;
    if (held != 0) {
        const u64 n = std::min<u64>(64 - held, n_bytes);
        if (n > 0) std::memcpy(pending_.data() + held, p, n);
        if (held + n < 64) return;
        compress(pending_.data(), 1);
        p += n;
        n_bytes -= n;
    }
    compress(p, n_bytes / 64);
    p += n_bytes / 64 * 64;
    if (n_bytes % 64 != 0) std::memcpy(pending_.data(), p, n_bytes % 64);
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
