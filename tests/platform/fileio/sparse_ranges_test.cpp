#include "platform/fileio/sparse_ranges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace trel::FileIO {
namespace {

TEST(SparseRangesTest, MatchesASetOfPositions) {
    std::mt19937_64 random(11);
    for (int round = 0; round < 300; round++) {
        SparseRanges ranges;
        std::vector<bool> set(60, false);
        for (int i = 0; i < 12; i++) {
            const u64 a = random() % 61, b = random() % 61;
            ranges.add(a, b);  // reversed ones are empty
            for (u64 p = a; p < b; p++) set[p] = true;
        }
        for (u64 a = 0; a <= 60; a++) {
            for (u64 b = a; b <= 60; b++) {
                const bool want = std::all_of(set.begin() + static_cast<long>(a),
                                              set.begin() + static_cast<long>(b), [](bool x) { return x; });
                ASSERT_EQ(ranges.covers(a, b), want) << a << " " << b;
                const bool overlaps =
                    std::any_of(set.begin() + static_cast<long>(a), set.begin() + static_cast<long>(b),
                                [](bool x) { return x; });
                ASSERT_EQ(ranges.overlaps(a, b), overlaps) << a << " " << b;
                u64 next = a;
                for (const auto& [from, to] : ranges.gaps(a, b)) {
                    ASSERT_LT(from, to);
                    for (; next < from; next++) ASSERT_TRUE(set[next]);
                    for (; next < to; next++) ASSERT_FALSE(set[next]);
                }
                for (; next < b; next++) ASSERT_TRUE(set[next]);
            }
        }
        std::string want = "Sparse Region:\n";
        for (u64 p = 0; p < 60; p++) {
            if (!set[p] || (p > 0 && set[p - 1])) continue;
            u64 end = p;
            while (end < 60 && set[end]) end++;
            want += "    [" + std::to_string(p) + ", " + std::to_string(end) + ")\n";
        }
        std::string got;
        for (const std::string& line : ranges.lines()) got += line + "\n";
        ASSERT_EQ(got, want);
    }
}

}  // namespace
}  // namespace trel::FileIO
