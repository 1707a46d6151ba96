#include "os/text_filter.h"

#include <cstring>

namespace trel::os {
namespace {

constexpr u64 kRun = 8;

// Moves the window of 8 bytes on by one; the newest byte is on top.
u64 shift_in(u64 run, u8 byte) {
    return run >> 8 | u64(byte) << 56;
}

}  // namespace

u64 TextFilter::position(u64 run, int i) noexcept {
    // Odd factors of 64 random bits; the high bits of the product depend on all bits of the run.
    constexpr u64 kFactors[] = {0x9e3779b97f4a7c15, 0xd1b54a32d192ed03, 0x8cb92ba72f3d8dd7};
    return run * kFactors[i] >> (64 - kLogBits);
}

void TextFilter::add(u64 run) noexcept {
    for (int k = 0; k < 3; k++) {
        const u64 at = position(run, k);
        bits_[at / 64] |= u64(1) << at % 64;
    }
}

bool TextFilter::knows(u64 run) const noexcept {
    for (int k = 0; k < 3; k++) {
        const u64 at = position(run, k);
        if ((bits_[at / 64] >> at % 64 & 1) == 0) return false;
    }
    return true;
}

void TextFilter::forget() noexcept {
    std::memset(bits_, 0, sizeof bits_);
}

void TextFilter::learn(std::string_view texts) noexcept {
    u64 run = 0;
    for (u64 i = 0; i < texts.size(); i++) {
        run = shift_in(run, static_cast<u8>(texts[i]));
        if (i + 1 < kRun) continue;
        int characters = 0;
        for (u64 k = 0; k < kRun; k++) characters += (run >> 8 * k & 255) != 0 ? 1 : 0;
        if (characters >= 6) add(run);
    }
}

void TextFilter::learn(std::u16string_view texts) noexcept {
    u64 run = 0;
    u64 characters = 0;  // in a row, up to here
    for (const char16_t unit : texts) {
        run = run >> 16 | u64(unit) << 48;
        characters = unit != 0 ? characters + 1 : 0;
        if (characters >= kRun / 2) add(run);
    }
}

void TextFilter::clear_known(void* data, u64 n) const noexcept {
    u8* const bytes = static_cast<u8*>(data);
    u64 run = 0;
    u64 cleared = 0;  // bytes before this are done
    for (u64 i = 0; i < n; i++) {
        run = shift_in(run, bytes[i]);
        if (i + 1 < kRun || !knows(run)) continue;
        const u64 from = cleared > i + 1 - kRun ? cleared : i + 1 - kRun;
        std::memset(bytes + from, 0, i + 1 - from);
        cleared = i + 1;
    }
}

}  // namespace trel::os
