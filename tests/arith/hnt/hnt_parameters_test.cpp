// The hybrid transform's list of lengths against a copy that was computed apart, and the choice of a length.
#include "arith/hnt/hnt_parameters.h"

#include <gtest/gtest.h>

#include <span>

#include "arith/ntt/lists.h"
#include "base/errors/exceptions.h"

namespace {

using namespace trel;
using kalvor_test::read_rows;

TEST(HntParametersTest, EveryPairAsListed) {
    std::vector<std::vector<std::string>> rows_a, rows_b;
    for (const auto& row : read_rows("ntt-records.csv")) {
        if (row[0] == "HNT") (row[1] == "A" ? rows_a : rows_b).push_back(row);
    }
    const auto compare = [](const auto& rows, std::span<const HntParameters> list, u64 count) {
        ASSERT_EQ(rows.size(), count);
        ASSERT_EQ(list.size(), count);
        for (u64 i = 0; i < count; i++) {
            EXPECT_EQ(list[i].k, std::stoul(rows[i][2])) << i;
            EXPECT_EQ(list[i].m, std::stoul(rows[i][3])) << i;
            EXPECT_EQ(list[i].capacity_bits(), std::stoull(rows[i][8])) << i;
            // whole units, and a product of two payloads summed over all elements fits an element
            EXPECT_EQ((u64(list[i].m) << list[i].k) % 256, 0u);
            EXPECT_LT(2 * list[i].point_bits() + list[i].k, 32 * list[i].element_units());
            // a root of unity of order 2^k among the powers of two, or of its root
            EXPECT_EQ(128 * list[i].element_units() % list[i].elements(), 0u);
        }
    };
    compare(rows_a, hnt_list_a(), 321);
    compare(rows_b, hnt_list_b(), 189);
}

TEST(HntParametersTest, ChoiceByBits) {
    EXPECT_EQ(find_hnt_parameters(1), (HntParameters{4, 32}));
    const HntParameters& smallest = find_hnt_parameters(512);
    EXPECT_EQ(smallest, (HntParameters{4, 32}));
    EXPECT_EQ(smallest.element_units(), 4u);
    EXPECT_EQ(smallest.point_bits(), 32u);
    EXPECT_EQ(smallest.elements(), 16u);
    EXPECT_EQ(find_hnt_parameters(513), (HntParameters{4, 64}));
    EXPECT_EQ(find_hnt_parameters(10735321088), (HntParameters{16, 20}));
    const HntParameters& next = find_hnt_parameters(10735321089);
    EXPECT_GE(next.capacity_bits(), 10735321089u);
    bool seen = false;  // no earlier pair of the second list would do
    for (const HntParameters& p : hnt_list_b()) {
        if (p == next) seen = true;
        if (seen) break;
        EXPECT_LT(p.capacity_bits(), 10735321089u);
    }
    EXPECT_TRUE(seen);
    // the largest size of the algorithm tables lies inside the lists
    EXPECT_GT(hnt_list_b().back().capacity_bits(), kHntMaxBits);
    EXPECT_EQ(find_hnt_parameters(10994982060032), (HntParameters{22, 5}));
    EXPECT_THROW(find_hnt_parameters(10994982060033), LimitExceededException);
}

}  // namespace
