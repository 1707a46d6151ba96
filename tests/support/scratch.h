// 64-byte-aligned memory of an exact size, filled with a pattern and guarded at both ends. A test in whose
// end the guards have changed fails.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "os/types.h"
#include "platform/memory/aligned_buffer.h"

namespace kalvor_test {

class Scratch {
  public:
    // bytes: a multiple of 64 where a view() is taken
    explicit Scratch(trel::u64 bytes) : bytes_(bytes), memory_(bytes + 3 * kGuard, kPattern) {
        const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
        data_ = memory_.data() + kGuard + (64 - address % 64) % 64;
    }
    ~Scratch() { EXPECT_TRUE(guards_intact()) << "written beside a region of " << bytes_ << " bytes"; }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    void* data() const { return data_; }
    trel::Word* words() const { return reinterpret_cast<trel::Word*>(data_); }
    trel::u64 size() const { return bytes_; }
    trel::AlignedBufferC view() const { return trel::AlignedBufferC(data_, bytes_); }
    // Nobody wrote outside.
    bool guards_intact() const {
        for (const unsigned char* p = memory_.data(); p != data_; p++) {
            if (*p != kPattern) return false;
        }
        for (const unsigned char* p = data_ + bytes_; p != memory_.data() + memory_.size(); p++) {
            if (*p != kPattern) return false;
        }
        return true;
    }

  private:
    static constexpr trel::u64 kGuard = 64;
    static constexpr unsigned char kPattern = 0xc3;

    trel::u64 bytes_;
    std::vector<unsigned char> memory_;
    unsigned char* data_;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::Scratch;
