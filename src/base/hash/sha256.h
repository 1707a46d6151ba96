// SHA-256 (FIPS 180-4) and its keyed form HMAC-SHA-256 (RFC 2104). For digit samples, checkpoint texts and
// signatures, a few kilobytes each, and for the program's own file at every start.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "os/types.h"

namespace trel {

using Sha256Digest = std::array<u8, 32>;

// Bytes may come in any pieces. One thread.
class Sha256 {
  public:
    void update(const void* data, u64 n_bytes);
    void update(std::string_view text) { update(text.data(), text.size()); }
    // The digest of everything so far. Ends the object's use.
    Sha256Digest finish();

  private:
    void compress(const u8* data, u64 n);

    std::array<u32, 8> state_ = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    u64 n_bytes_ = 0;
    std::array<u8, 64> pending_{};
};

Sha256Digest sha256(std::string_view text);
Sha256Digest hmac_sha256(std::string_view key, std::string_view text);
// 64 lowercase hexadecimal characters.
std::string to_hex(const Sha256Digest& digest);

}  // namespace trel
