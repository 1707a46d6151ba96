// A read cut into parts, one a task, each with a piece of the scratch of its own.
#pragma once

#include <algorithm>
#include <exception>
#include <vector>

#include "arith/m61/m61.h"
#include "base/names/names.h"
#include "digits/files/basic_digit_reader.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor {

// Parts that are smaller are not worth a task.
inline constexpr u64 kLeastPartDigits = u64(1) << 18;
inline constexpr u64 kLeastPartScratch = u64(1) << 18;

inline u64 count_parts(u64 count, u64 scratch_bytes, u64 tds) {
    return std::max<u64>(1, std::min({tds, count / kLeastPartDigits, scratch_bytes / kLeastPartScratch}));
}

// Calls read(part, begin, n, scratch) for `parts` consecutive parts of [start, start + count). An exception
// of a part is thrown again here when all have ended: that of the first part that has one.
template <class Read>
void read_parts(const ParallelContext& parallel, u64 parts, u64 start, u64 count, AlignedBufferC scratch,
                Read&& read) {
    if (parts == 1) return read(u64(0), start, count, scratch);
    const u64 share = scratch.size() / parts / 64 * 64;
    std::vector<AlignedBufferC> buffers;
    for (u64 i = 0; i < parts; i++) buffers.push_back(scratch.spawn(share));
    std::vector<std::exception_ptr> failures(parts);
    parallel_for(parallel.with_tds(parts), parts, [&](u64 i) {
        const auto cut = [&](u64 k) { return static_cast<u64>(u128(count) * k / parts); };
        try {
            read(i, start + cut(i), cut(i + 1) - cut(i), buffers[i]);
        } catch (...) {
            failures[i] = std::current_exception();
        }
    });
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
}

// The statistics of consecutive parts, and of all of them.
struct PartialStats {
    PartialStats(u8 radix, u64 parts) : stats(parts, DigitRangeStats(radix)), digits(parts) {}
    DigitRangeStats& operator[](u64 part) { return stats[part]; }
    // Hashes of two parts combine as h1 radix^n2 + h2.
    void add_to(DigitRangeStats& all) const {
        for (u64 i = 0; i < stats.size(); i++) {
            const u64 power = m61::pow(all.counts.radix, digits[i]);
            all.hash = m61::canonical(m61::add(m61::mul(all.hash, power), stats[i].hash));
            for (u64 d = 0; d < 16; d++) all.counts.count[d] += stats[i].counts.count[d];
        }
    }

    std::vector<DigitRangeStats> stats;
    std::vector<u64> digits;  // of each part
};

}  // namespace kalvor
