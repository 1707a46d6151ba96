// Every prime set and every list of lengths against copies that were computed apart, and the choice of a
// length.
#include <gmp.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "arith/ntt/lists.h"
#include "arith/ntt/ntt_prime_sets.h"
#include "arith/ntt/ntt_records.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_u64.h"

namespace {

using namespace trel;
using kalvor_test::read_rows;

NttFamily family_of(const std::string& name) {
    return name == "N32" ? NttFamily::n32 : name == "N64" ? NttFamily::n64 : NttFamily::c17;
}

u8 small(const std::string& text) {
    return static_cast<u8>(std::stoul(text));
}

TEST(NttPrimeSetTest, EveryPrimeAsListed) {
    std::map<std::tuple<std::string, u32, u32>, std::vector<std::vector<std::string>>> sets;
    const auto rows = read_rows("ntt-primes.csv");
    ASSERT_EQ(rows.size(), 700u);
    for (const auto& row : rows) sets[{row[0], std::stoul(row[1]), std::stoul(row[2])}].push_back(row);
    EXPECT_EQ(sets.size(), 32u + 32 + 36);
    for (const auto& [key, primes] : sets) {
        const auto& [name, a, b] = key;
        const NttPrimeSet& set = ntt_prime_set(family_of(name), a, b);
        ASSERT_EQ(set.primes.size(), a);
        ASSERT_EQ(primes.size(), a);
        EXPECT_EQ(set.a, a);
        EXPECT_EQ(set.b, b);
        EXPECT_EQ(set.max_exponent, std::stoul(primes[0][3])) << name << a << b;
        EXPECT_EQ(ntt_max_exponent(family_of(name), a, b), set.max_exponent);
        EXPECT_NEAR(set.headroom_bits, std::stod(primes[0][4]), 0.0006) << name << a << b;
        for (u32 i = 0; i < a; i++) {
            EXPECT_EQ(set.primes[i], std::stoull(primes[i][5])) << name << a << b;
            // k 2^m + 1, b divides k
            const u64 k = std::stoull(primes[i][6]), m = std::stoull(primes[i][7]);
            EXPECT_EQ(set.primes[i], (k << m) + 1);
            EXPECT_EQ(k % b, 0u);
            EXPECT_GE(m, set.max_exponent);
            mpz_t p;
            mpz_init_set(p, reference::mpz_of(set.primes[i]).get_mpz_t());
            EXPECT_NE(mpz_probab_prime_p(p, 30), 0);
            mpz_clear(p);
        }
    }
}

TEST(NttPrimeSetTest, RefusesSetsThatDoNotExist) {
    const auto refuses = [](NttFamily family, u32 a, u32 b) {
        try {
            ntt_prime_set(family, a, b);
            return false;
        } catch (const InvalidParametersException& e) {
            return e.message == "Out-of-bounds.";
        }
    };
    EXPECT_TRUE(refuses(NttFamily::n32, 2, 1));
    EXPECT_TRUE(refuses(NttFamily::n32, 11, 1));
    EXPECT_TRUE(refuses(NttFamily::c17, 3, 1));
    EXPECT_TRUE(refuses(NttFamily::c17, 12, 1));
    EXPECT_TRUE(refuses(NttFamily::vst, 3, 1));
    EXPECT_TRUE(refuses(NttFamily::n64, 2, 1));
    EXPECT_TRUE(refuses(NttFamily::n64, 12, 3));
    EXPECT_TRUE(refuses(NttFamily::c17, 7, 0));
    EXPECT_TRUE(refuses(NttFamily::c17, 7, 2));
    EXPECT_TRUE(refuses(NttFamily::c17, 7, 9));
    EXPECT_EQ(&ntt_prime_set(NttFamily::vst, 8, 3), &ntt_prime_set(NttFamily::c17, 8, 3));
}

TEST(NttRecordsTest, EveryRecordAsListed) {
    std::map<std::pair<std::string, std::string>, std::vector<std::vector<std::string>>> lists;
    for (const auto& row : read_rows("ntt-records.csv")) {
        if (row[0] != "HNT") lists[{row[0], row[1]}].push_back(row);
    }
    EXPECT_EQ(lists.size(), 5u);
    const auto compare = [&](const char* family, const char* list, std::span<const NttRecord> records,
                             u64 count) {
        const auto& rows = lists[{family, list}];
        ASSERT_EQ(rows.size(), count);
        ASSERT_EQ(records.size(), count) << family << list;
        for (u64 i = 0; i < count; i++) {
            const auto& row = rows[i];
            const NttRecord want{small(row[2]), small(row[3]), small(row[4]),
                                 small(row[5]), small(row[6]), small(row[7])};
            EXPECT_EQ(records[i], want) << family << " " << list << " " << i;
            EXPECT_EQ(ntt_capacity_bits(family_of(family), records[i]), std::stoull(row[8]));
        }
    };
    compare("N32", "general", ntt_general_records(NttFamily::n32), 106);
    compare("N32", "tuned", ntt_tuned_records(NttFamily::n32), 83);
    compare("C17", "general", ntt_general_records(NttFamily::c17), 346);
    compare("C17", "tuned", ntt_tuned_records(NttFamily::c17), 145);
    compare("N64", "general", ntt_general_records(NttFamily::n64), 497);
    EXPECT_TRUE(ntt_tuned_records(NttFamily::n64).empty());
}

// Products that wrap are compared modulo 2^192 - 1, or where a length has no factor three modulo 2^1024 - 1.
// In a ring that neither divides nothing would be compared.
TEST(NttRecordsTest, EveryRingHasTheModulusOfItsCheck) {
    for (const NttFamily family : {NttFamily::c17, NttFamily::vst, NttFamily::n32, NttFamily::n64}) {
        const bool of_48_bits = family == NttFamily::c17 || family == NttFamily::vst;
        for (const auto& list : {ntt_tuned_records(family), ntt_general_records(family)}) {
            for (const NttRecord& record : list) {
                const u64 bits = ntt_capacity_bits(family, record);
                EXPECT_TRUE(bits % 192 == 0 || (!of_48_bits && bits % 1024 == 0))
                    << ntt_constants(family).short_name << " " << bits;
            }
        }
    }
}

TEST(NttRecordsTest, ListOfVst) {
    EXPECT_EQ(ntt_general_records(NttFamily::vst).data(), ntt_general_records(NttFamily::c17).data());
    const auto vst = ntt_tuned_records(NttFamily::vst), c17 = ntt_tuned_records(NttFamily::c17);
    ASSERT_EQ(vst.size(), 137u);
    u64 at = 0;  // every record is one of C17's, in its order
    for (const NttRecord& r : vst) {
        while (at < c17.size() && !(c17[at] == r)) at++;
        ASSERT_LT(at, c17.size());
    }
    EXPECT_EQ(vst.front(), c17.front());
    EXPECT_EQ(vst.back(), c17.back());
}

// In every list capacities increase, lengths have a prime set, and points never overflow their primes.
TEST(NttRecordsTest, RecordsFitTheirPrimes) {
    for (const NttFamily family : {NttFamily::n32, NttFamily::c17, NttFamily::n64, NttFamily::vst}) {
        for (const auto list : {ntt_tuned_records(family), ntt_general_records(family)}) {
            u64 last = 0;
            for (const NttRecord& r : list) {
                const NttPrimeSet& set = ntt_prime_set(family, r.a, r.b);
                const u64 capacity = ntt_capacity_bits(family, r);
                EXPECT_GT(capacity, last);
                EXPECT_LE(capacity, ntt_constants(family).max_bits);
                EXPECT_LE(r.c, set.max_exponent);
                EXPECT_GT(set.headroom_bits, std::log2(static_cast<double>(r.points())));
                last = capacity;
            }
            if (!list.empty() && list.data() == ntt_general_records(family).data()) {
                EXPECT_EQ(last, ntt_constants(family).max_bits);
            }
        }
    }
}

TEST(NttRecordsTest, ChoiceByBits) {
    const auto abc = [](NttFamily family, u64 bits) {
        const NttRecord& r = find_ntt_record(family, bits);
        return std::tuple<int, int, int, int>(r.a, r.b, r.c, r.d);
    };
    using T = std::tuple<int, int, int, int>;
    EXPECT_EQ(abc(NttFamily::c17, 1), T(7, 1, 10, 6));
    EXPECT_EQ(abc(NttFamily::c17, 147456), T(7, 1, 10, 6));
    EXPECT_EQ(abc(NttFamily::c17, 147457), T(8, 1, 10, 6));
    EXPECT_EQ(abc(NttFamily::c17, 10066329600), T(11, 5, 23, 6));
    EXPECT_EQ(abc(NttFamily::c17, 10066329601), T(10, 3, 24, 0));
    EXPECT_EQ(abc(NttFamily::c17, 356241767399424), T(10, 3, 39, 0));
    EXPECT_EQ(abc(NttFamily::n32, 1), T(5, 1, 11, 7));
    EXPECT_EQ(abc(NttFamily::n32, 176160768), T(8, 3, 19, 8));
    EXPECT_EQ(find_ntt_record(NttFamily::n32, 176160769).d, 0);
    EXPECT_EQ(abc(NttFamily::n32, 2415919104), T(4, 3, 24, 0));
    EXPECT_EQ(abc(NttFamily::n64, 1), T(5, 1, 12, 0));
    EXPECT_EQ(abc(NttFamily::n64, 0x3800000000000000), T(5, 7, 52, 0));
    EXPECT_EQ(abc(NttFamily::vst, 356241767399424), T(10, 3, 39, 0));
    // 524288 bits: the general list's first record, but the tuned list answers first
    EXPECT_EQ(ntt_general_records(NttFamily::n32)[0], (NttRecord{5, 1, 13, 0, 0, 0}));
    EXPECT_EQ(ntt_capacity_bits(NttFamily::n32, {5, 1, 13, 0, 0, 0}), 524288u);
    const NttRecord& n32 = find_ntt_record(NttFamily::n32, 524288);
    EXPECT_NE(n32.d, 0);
    EXPECT_GE(ntt_capacity_bits(NttFamily::n32, n32), 524288u);
    EXPECT_LE(n32.a * n32.points(), 5u << 13);
    for (const auto& [family, bits] : {std::pair<NttFamily, u64>(NttFamily::n32, 2415919105),
                                       std::pair<NttFamily, u64>(NttFamily::c17, 356241767399425),
                                       std::pair<NttFamily, u64>(NttFamily::n64, 0x3800000000000001),
                                       std::pair<NttFamily, u64>(NttFamily::vst, 356241767399425)}) {
        EXPECT_THROW(find_ntt_record(family, bits), LimitExceededException);
    }
}

}  // namespace
