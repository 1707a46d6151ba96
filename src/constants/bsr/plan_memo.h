// Splits and sizes of ranges that a plan has asked for already.
//
// The plan of a block is made for several depths and asks the same of the same ranges each time, and of each
// range as a half and as the whole. Far out a split takes a dozen sizes of double-doubles.
#pragma once

#include <unordered_map>

#include "base/names/names.h"
#include "constants/bsr/family.h"

namespace kalvor::BinarySplitting {

// The memo of one series. One thread at a time.
template <SeriesFamily F>
class PlanMemo {
  public:
    using Series = typename F::Series;

    u64 split(const Series& series, u64 a, u64 b) {
        u64& m = known_[{a, b}].split;
        if (m == kUnknown) m = F::split(series, a, b);
        return m;
    }
    const Capacities<F>& capacities(const Series& series, u64 a, u64 b) {
        Entry& entry = known_[{a, b}];
        if (!entry.has_words) entry.words = F::capacities(series, a, b);
        entry.has_words = true;
        return entry.words;
    }

  private:
    // No range is split at 0.
    static constexpr u64 kUnknown = 0;
    struct Range {
        u64 a, b;
        bool operator==(const Range&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Range& range) const {
            return static_cast<std::size_t>((range.a * 0x9e3779b97f4a7c15 + range.b) * 0xff51afd7ed558ccd);
        }
    };
    struct Entry {
        u64 split = kUnknown;
        bool has_words = false;
        Capacities<F> words;
    };

    std::unordered_map<Range, Entry, Hash> known_;
};

}  // namespace kalvor::BinarySplitting
