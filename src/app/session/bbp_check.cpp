#include "app/session/bbp_check.h"

#include <algorithm>
#include <vector>

#include "base/console/format.h"
#include "digits/bbp/bbp_session.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

namespace {

constexpr u64 kPiece = 64 << 10;
constexpr u64 kPage = 4096;

u8 value_of(char digit) {
    return static_cast<u8>(digit <= '9' ? digit - '0' : digit - 'A' + 10);
}

}  // namespace

std::string BbpCheck::text() const {
    return mismatch != 0 ? "Mismatch at " + Console::format_commas(mismatch)
                         : "Good through " + Console::format_commas(good_through);
}

BbpCheck bbp_check(BasicDigitReader& digits, u64 last, u64 n, const BBPv2::Workers& workers,
                   RunMonitor& monitor) {
    const u64 offset = last - n;
    const std::string right = BBPv2::pi_digits(BBPv2::kBellardBbp, offset, n, workers, monitor);
    const u64 piece = std::min(n, kPiece);
    const u64 bytes = round_up_64(digits.buffer_size(piece, kPiece));
    const GuardedBuffer scratch(bytes, kPage);
    std::vector<u8> values(piece);
    for (u64 i = 0; i < n;) {
        const u64 count = std::min(piece, n - i);
        digits.load_digits(values.data(), offset + i, count, AlignedBufferC(scratch.get(), bytes),
                           serial_context());
        for (u64 j = 0; j < count; j++, i++) {
            if (values[j] != value_of(right[i])) return {i == 0 ? 0 : offset + i, offset + i + 1};
        }
    }
    return {last, 0};
}

void report(Status& status, const BbpCheck& check) {
    status.Status_ColoredLine({{'w', "BBP Check: "}, {check.mismatch != 0 ? 'R' : 'G', check.text()}});
}

}  // namespace kalvor
