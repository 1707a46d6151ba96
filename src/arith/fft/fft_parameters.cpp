#include "arith/fft/fft_parameters.h"

#include <algorithm>
#include <array>

#include "base/errors/exceptions.h"

namespace trel {
namespace {

// In increasing order of capacity. Bits per point fall with the length so that the rounding error stays below
// 1/4 for the worst operands (all points near 2^b); the safety of every product rests on this list.
constexpr FftParameters kTable[] = {
    {1, 7, 16},  {1, 7, 20},  {1, 8, 16},  {1, 8, 20},  {3, 7, 16},  {3, 7, 20},  {1, 9, 16},  {1, 9, 18},
    {5, 7, 16},  {5, 7, 18},  {3, 8, 16},  {3, 8, 18},  {1, 10, 16}, {1, 10, 17}, {1, 10, 18}, {1, 10, 19},
    {5, 8, 16},  {5, 8, 18},  {5, 8, 19},  {3, 9, 16},  {3, 9, 18},  {3, 9, 19},  {1, 11, 16}, {1, 11, 17},
    {1, 11, 18}, {5, 9, 16},  {5, 9, 18},  {3, 10, 16}, {3, 10, 17}, {3, 10, 18}, {1, 12, 16}, {1, 12, 18},
    {5, 10, 16}, {5, 10, 17}, {3, 11, 16}, {3, 11, 17}, {1, 13, 16}, {1, 13, 17}, {5, 11, 16}, {5, 11, 17},
    {3, 12, 16}, {3, 12, 17}, {1, 14, 16}, {1, 14, 17}, {5, 12, 16}, {5, 12, 17}, {3, 13, 16}, {3, 13, 17},
    {1, 15, 16}, {5, 13, 16}, {3, 14, 16}, {1, 16, 14}, {1, 16, 16}, {5, 14, 14}, {5, 14, 15}, {3, 15, 14},
    {3, 15, 15}, {1, 17, 12}, {1, 17, 14}, {1, 17, 15}, {5, 15, 13}, {5, 15, 14}, {5, 15, 15}, {3, 16, 13},
    {3, 16, 14}, {3, 16, 15}, {1, 18, 12}, {1, 18, 13}, {1, 18, 14}, {1, 18, 15}, {5, 16, 13}, {5, 16, 14},
    {3, 17, 12}, {3, 17, 13}, {3, 17, 14}, {1, 19, 11}, {1, 19, 12}, {1, 19, 13}, {1, 19, 14}, {5, 17, 12},
    {5, 17, 14}, {3, 18, 12}, {3, 18, 13}, {3, 18, 14}, {1, 20, 12}, {1, 20, 14}, {5, 18, 12}, {5, 18, 13},
    {3, 19, 11}, {3, 19, 12}, {3, 19, 13}, {1, 21, 11}, {1, 21, 13}, {5, 19, 12}, {5, 19, 13}, {3, 20, 12},
    {3, 20, 13}, {1, 22, 12}, {5, 20, 10}, {5, 20, 11}, {5, 20, 12}, {3, 21, 11}, {3, 21, 12}, {1, 23, 10},
    {1, 23, 12},
};
static_assert(std::size(kTable) == 105);

// The entries for products of 0, 256, 512, ... bits, as far as short products go: short products are
// so frequent that a search would show.
constexpr u64 kGrain = 256;
constexpr u64 kShortBits = 208896;
static_assert(std::size(kTable) < 256 &&
              std::ranges::all_of(kTable, [](const FftParameters& p) { return p.capacity() % kGrain == 0; }));
constexpr auto kShortEntries = [] {
    std::array<u8, kShortBits / kGrain + 1> entries{};
    u8 entry = 0;
    for (u64 i = 0; i < entries.size(); i++) {
        while (kTable[entry].capacity() < kGrain * i) entry++;
        entries[i] = entry;
    }
    return entries;
}();

}  // namespace

std::span<const FftParameters> fft_parameter_table() {
    return kTable;
}

u64 fft_entry_for(u64 bits) {
    if (bits <= kShortBits) return kShortEntries[(bits + kGrain - 1) / kGrain];
    const auto* entry = std::lower_bound(std::begin(kTable), std::end(kTable), bits,
                                         [](const FftParameters& p, u64 n) { return p.capacity() < n; });
    if (entry == std::end(kTable)) {
        throw LimitExceededException("FFT", "Product is too large.", std::end(kTable)[-1].capacity(), bits);
    }
    return static_cast<u64>(entry - kTable);
}

}  // namespace trel
