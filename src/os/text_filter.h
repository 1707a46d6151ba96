// Takes the words of the command line and of the environment out of memory that goes into a dump. Copies of
// them lie about on any stack: a search through the environment leaves them in vector registers, and the
// dynamic linker saves those.
#pragma once

#include <string_view>

#include "os/types.h"

namespace trel::os {

// Knows every run of 8 bytes of the texts, as a Bloom filter with three bits for each. With the usual few
// thousand bytes of texts it takes nothing else out; with megabytes of them it takes too much. A megabyte in
// size: make it static.
class TextFilter {
  public:
    void forget() noexcept;
    // Adds texts of bytes. Runs with fewer than 6 characters in them are not learnt.
    void learn(std::string_view texts) noexcept;
    // Adds texts of UTF-16 units, whose runs are 4 characters; none of them is zero.
    void learn(std::u16string_view texts) noexcept;
    // Overwrites every byte that is part of a known run with zero.
    void clear_known(void* data, u64 n) const noexcept;

  private:
    static constexpr u32 kLogBits = 23;

    void add(u64 run) noexcept;
    bool knows(u64 run) const noexcept;
    static u64 position(u64 run, int i) noexcept;

    u64 bits_[(u64(1) << kLogBits) / 64];
};

}  // namespace trel::os
