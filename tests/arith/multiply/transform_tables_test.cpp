#include "arith/multiply/transform_tables.h"

#include <gtest/gtest.h>

#include <random>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/scratch.h"

using namespace trel;
using reference::Words;

namespace {

const MultiplyAlgorithm& named(const char* name) {
    return *find_algorithm(TableSlot::basic64, name)->algorithm;
}

TEST(TransformTablesTest, HoldTheTablesOfReachableAlgorithms) {
    EXPECT_EQ(TransformTables::bytes(80), 0u);
    const TransformTables none(80, {}, serial_context());
    EXPECT_EQ(none.find(named("BKT")), nullptr);
    EXPECT_EQ(none.find(named("FFT")), nullptr);

    const u64 bytes = TransformTables::bytes(5000);
    EXPECT_GT(bytes, 0u);
    EXPECT_EQ(bytes % 64, 0u);
    Scratch memory(bytes);
    const TransformTables tables(5000, memory.view(), serial_context());
    EXPECT_TRUE(memory.guards_intact());
    EXPECT_EQ(tables.find(named("BKT")), nullptr);
    EXPECT_NE(tables.find(named("FFT")), nullptr);

    Scratch less(bytes - 64);
    EXPECT_THROW(TransformTables(5000, less.view(), serial_context()), BufferTooSmallException);
    const u64 beyond = basic_table64().items().back().threshold_words + 1;
    EXPECT_THROW((void)TransformTables::bytes(beyond), LimitExceededException);
}

TEST(TransformTablesTest, SharedTablesChangeNoProduct) {
    std::mt19937_64 rng(1);
    Scratch memory(TransformTables::bytes(3000));
    const TransformTables tables(3000, memory.view(), serial_context());
    for (u64 n : {81, 100, 333, 1000, 2047, 3000, 3001, 4500}) {  // the last ones are larger than the tables
        const u64 LA = n / 2, LB = n - LA;
        const Words A = reference::pattern(LA, rng), B = reference::pattern(LB, rng);
        Scratch scratch(multiply_scratch_bytes(n));
        Words with(n), without(n);
        multiply_full({serial_context(), scratch.view(), &tables}, with.data(), A.data(), LA, B.data(), LB);
        multiply_full({serial_context(), scratch.view(), nullptr}, without.data(), A.data(), LA, B.data(),
                      LB);
        EXPECT_EQ(with, without) << n;
        EXPECT_EQ(with, reference::to_words(reference::to_mpz(A) * reference::to_mpz(B), n)) << n;
        EXPECT_TRUE(scratch.guards_intact());
    }
    EXPECT_TRUE(memory.guards_intact());
}

}  // namespace
