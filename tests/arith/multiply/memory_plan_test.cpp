// Memory queries answer what a product then uses: every operation runs in memory of exactly that size between
// guard words, and in less memory at least one of them does not fit.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "platform/parallel/spawn_framework.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/effort.h"
#include "support/scratch.h"

using namespace trel;
using reference::Words;

namespace {

const char* const kNames[] = {"BKT", "FFT", "N32", "N64", "HNT", "VST", "C17"};
const u64 kSizes[] = {1,   2,    3,    18,   61,   62,   63,   64,   79,   80,   81,    82,   127,
                      256, 1000, 2048, 3264, 3265, 3266, 4097, 6000, 8192, 9001, 16385, 20000};
const u64 kLargest = 20000 / kalvor_test::thinned(3);

// n words in all, lengths a little apart.
struct Product {
    explicit Product(u64 n) : rng(n), LA(n - n / 2), LB(n / 2), A(reference::pattern(LA, rng)) {
        if (LB != 0) B = reference::pattern(LB, rng);
    }
    Words window(const Words& X, const Words& Y, u64 skip, u64 total) const {
        return reference::to_words(
            reference::window(reference::to_mpz(X) * reference::to_mpz(Y), skip, total), total - skip);
    }
    std::mt19937_64 rng;
    u64 LA, LB;
    Words A, B;
};

// Runs operation number i of five; returns whether its words are right.
bool run(int i, const MultiplyAlgorithm& algorithm, const MultiplyContext& context, const Product& p) {
    const u64 n = p.LA + p.LB, skip = n / 3, square = 2 * p.LB;
    Words T;
    switch (i) {
        case 0:
            T.resize(n);
            algorithm.mul(context, T.data(), p.A.data(), p.LA, p.B.data(), p.LB);
            return T == p.window(p.A, p.B, 0, n);
        case 1:
            T.resize(square);
            algorithm.sqr(context, T.data(), p.B.data(), p.LB);
            return T == p.window(p.B, p.B, 0, square);
        case 2:
            T.resize(n - skip);
            algorithm.mul_skip(context, T.data(), skip, n, p.A.data(), p.LA, p.B.data(), p.LB);
            return T == p.window(p.A, p.B, skip, n);
        case 3:
            T.resize(square - square / 3);
            algorithm.sqr_skip(context, T.data(), square / 3, square, p.B.data(), p.LB);
            return T == p.window(p.B, p.B, square / 3, square);
        default:
            T.resize(n - skip);
            algorithm.mul_skip_transform(context, T.data(), skip, n, p.A.data(), p.LA, p.B.data(), p.LB);
            return T == p.window(p.A, p.B, skip, n);
    }
}

TEST(MemoryPlanTest, OperationsUseExactlyTheScratchOfTheirSize) {
    SpawnFramework spawn(64);
    for (const char* name : kNames) {
        const AlgorithmEntry* entry = find_algorithm(TableSlot::basic64, name);
        if (entry == nullptr) continue;
        const MultiplyAlgorithm& algorithm = *entry->algorithm;
        for (u64 n : kSizes) {
            if (64 * n > entry->max_bits || n > kLargest) continue;
            SCOPED_TRACE(testing::Message() << name << ", " << n << " words");
            const Product p(n);
            if (p.LB == 0) continue;
            const u64 bytes = algorithm.mSBsize(n);
            EXPECT_EQ(bytes, algorithm.sizes(n).scratch);
            for (u64 tds : {1, 2, 7}) {
                Scratch scratch(bytes);
                const MultiplyContext context{{&spawn, tds}, scratch.view()};
                for (int i = 0; i < 5; i++) EXPECT_TRUE(run(i, algorithm, context, p)) << "operation " << i;
                EXPECT_TRUE(scratch.guards_intact());
            }
            // Below Karatsuba's threshold whole products need nothing, and windows only their product.
            if (algorithm.mSBsize(n) == 0 || p.LB < 31) continue;
            // Sizes are the largest of all records up to the one that serves, and lists do not grow in memory
            // as they do in capacity: where a shorter product needs more, this one fits into less.
            TransformHolder transform;
            algorithm.make_transform(transform, n, {serial_context(), {}});
            // The same holds where products that wrap take a longer record, or residues of fewer words do.
            if (transform->plain_bytes() < bytes) continue;
            Scratch less(bytes - 64);
            const MultiplyContext context{serial_context(), less.view()};
            bool all_fit = true;
            for (int i = 0; i < 5; i++) {
                try {
                    run(i, algorithm, context, p);
                } catch (const BufferTooSmallException&) {
                    all_fit = false;
                }
            }
            EXPECT_FALSE(all_fit);
            EXPECT_TRUE(less.guards_intact());
        }
    }
}

TEST(MemoryPlanTest, SizesAreThoseOfTheTransform) {
    for (const char* name : kNames) {
        const AlgorithmEntry* entry = find_algorithm(TableSlot::basic64, name);
        if (entry == nullptr) continue;
        for (u64 n : kSizes) {
            if (64 * n > entry->max_bits) continue;
            SCOPED_TRACE(testing::Message() << name << ", " << n << " words");
            const MultiplySizes sizes = entry->algorithm->sizes(n);
            TransformHolder transform;
            entry->algorithm->make_transform(transform, n, {serial_context(), {}});
            EXPECT_GE(sizes.output, 8 * n);
            EXPECT_EQ((sizes.output | sizes.scratch | sizes.transform_data | sizes.transform_scratch) % 64,
                      0u);
            EXPECT_GE(sizes.transform_data, transform->data_bytes());
            EXPECT_GE(sizes.transform_scratch, transform->scratch_bytes());
            EXPECT_GE(transform->convolution_words(), n);
        }
    }
}

// A transform in memory of exactly its sizes: what it keeps, what it needs to keep nothing, and a held
// operand.
TEST(MemoryPlanTest, TransformsStayInsideTheirSizes) {
    SpawnFramework spawn(64);
    for (const char* name : kNames) {
        const AlgorithmEntry* entry = find_algorithm(TableSlot::basic64, name);
        if (entry == nullptr) continue;
        for (u64 n : kSizes) {
            if (64 * n > entry->max_bits || n < 2 || n > kLargest) continue;
            const Product p(n);
            TransformHolder t;
            entry->algorithm->make_transform(t, n, {serial_context(), {}});
            for (u64 tds : {1, 2}) {
                SCOPED_TRACE(testing::Message() << name << ", " << n << " words, " << tds << " tasks");
                const ParallelContext parallel{&spawn, tds};
                const Words want = p.window(p.A, p.B, 0, n), square = p.window(p.B, p.B, 0, 2 * p.LB);
                Words T(n), S(2 * p.LB);
                Scratch x(t->data_bytes()), work(t->data_bytes()), scratch(t->scratch_bytes());
                Scratch plain(t->plain_bytes()), square_memory(t->data_bytes() + t->scratch_bytes());
                t->forward(parallel, x.data(), p.A.data(), p.LA, scratch.data());
                t->multiply_held(parallel, T.data(), 0, n, p.B.data(), p.LB, x.data(), work.data(),
                                 scratch.data());
                EXPECT_EQ(T, want);
                T.assign(n, 0);
                t->forward(parallel, work.data(), p.B.data(), p.LB, scratch.data());
                t->inverse(parallel, T.data(), 0, n, work.data(), x.data(), work.data(), scratch.data());
                EXPECT_EQ(T, want);
                T.assign(n, 0);
                t->multiply_plain(parallel, T.data(), 0, n, p.A.data(), p.LA, p.B.data(), p.LB, plain.data());
                EXPECT_EQ(T, want);
                t->square_plain(parallel, S.data(), 0, 2 * p.LB, p.B.data(), p.LB, square_memory.data());
                EXPECT_EQ(S, square);
                EXPECT_TRUE(x.guards_intact() && work.guards_intact() && scratch.guards_intact() &&
                            plain.guards_intact() && square_memory.guards_intact());
            }
        }
    }
}

// A plan for one size serves every smaller product.
TEST(MemoryPlanTest, TableSizesNeverFall) {
    for (const AlgorithmTableB* table : {&basic_table32(), &basic_table64()}) {
        MultiplySizes last;
        for (u64 n = 1; n < 40000; n += 1 + n / 50) {
            const MultiplySizes sizes = table->mSBsizes(n);
            EXPECT_EQ(sizes.scratch, table->mSBsize(n));
            EXPECT_GE(sizes.output, last.output) << n;
            EXPECT_GE(sizes.scratch, last.scratch) << n;
            EXPECT_GE(sizes.transform_data, last.transform_data) << n;
            EXPECT_GE(sizes.transform_scratch, last.transform_scratch) << n;
            last = sizes;
        }
    }
}

// The dispatcher's entries in exactly the memory of the table, and of any smaller product.
TEST(MemoryPlanTest, DispatchStaysInsideThePlanOfALargerProduct) {
    std::mt19937_64 rng(1);
    for (u64 plan : {40, 80, 100, 400, 3264, 3265, 5000}) {
        Scratch scratch(multiply_scratch_bytes(plan));
        const MultiplyContext context{serial_context(), scratch.view()};
        for (int i = 0; i < 30; i++) {
            const u64 n = i == 0 ? plan : 2 + rng() % (plan - 1);
            const Product p(n);
            Words T(n);
            multiply_full(context, T.data(), p.A.data(), p.LA, p.B.data(), p.LB);
            EXPECT_EQ(T, p.window(p.A, p.B, 0, n)) << n << " of " << plan;
            T.assign(n, 0);
            multiply_truncated_small(context, T.data(), 0, n, p.A.data(), p.LA, p.B.data(), p.LB);
            EXPECT_EQ(T, p.window(p.A, p.B, 0, n)) << n << " of " << plan;
            Words S(2 * p.LB);
            square_truncated(context, S.data(), 0, 2 * p.LB, p.B.data(), p.LB);
            EXPECT_EQ(S, p.window(p.B, p.B, 0, 2 * p.LB)) << n << " of " << plan;
        }
        EXPECT_TRUE(scratch.guards_intact());
    }
}

}  // namespace
