// The four numbers of Brent and McMillan's sums against their definition, in buffers of exactly the planned
// size, and with a changed bit.
#include "constants/bsr/brent_mcmillan.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "constants/bsr/block_run.h"
#include "constants/bsr/verify_bsr.h"
#include "reference/mpz_words.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using BrentMcMillanAB::Family;
using trel::ExactFloat;
using trel::MultiplyContext;
using trel::u64;
using trel::Word;

namespace {

struct Numbers {
    mpz_class P, Q, R, T;
};

// Term after term.
Numbers by_definition(u64 a, u64 b, u64 m) {
    Numbers n{0, 1, 0, 0};
    for (unsigned long j = a + 1; j <= b; j++) {
        const mpz_class old_Q = n.Q, power = mpz_class(1) << (2 * m * j);
        n.P = n.P * j + old_Q;
        n.Q = old_Q * j;
        // R / Q^2 gains n^2j / Q^2, T / Q^3 gains (P / Q) n^2j / Q^2.
        n.R = n.R * j * j + power;
        n.T = n.T * j * j * j + n.P * power;
    }
    return n;
}

mpz_class value(const ExactFloat& A) {
    return reference::to_mpz(A.T, A.L) << (64 * static_cast<u64>(A.exp));
}

struct Block {
    Block(const BrentMcMillanAB::Series& series, u64 a, u64 b, u64 tds, bool edge)
        : plan(series, {a, b, series.precision(), series.precision()}, edge, true, tds),
          results(total_words(plan.capacities()) * sizeof(Word)),
          scratch(plan.needs().bytes),
          context{{thread_framework(), tds}, scratch.view(), nullptr} {
        trel::AlignedBufferC memory = results.view();
        numbers = carve_range<ExactFloat>(memory, plan.capacities());
        BlockRun<Family>(plan).run(context, trel::null_status(), numbers);
        EXPECT_TRUE(results.guards_intact() && scratch.guards_intact());
    }
    BSR_BlockB<Family> plan;
    Scratch results, scratch;
    MultiplyContext context;
    ExactRange<Family> numbers;
};

// Below n, around it and beyond; odd and even borders.
TEST(BrentMcMillanTest, ExactBlocksStayInsideTheirPlan) {
    for (const u64 m : {0, 1, 7, 12, 50}) {
        const BrentMcMillanAB::Series series(m, 4000);
        for (const auto& [a, b] : std::vector<std::pair<u64, u64>>{{0, 1},
                                                                   {0, 2},
                                                                   {0, 3},
                                                                   {1, 4},
                                                                   {2, 9},
                                                                   {5, 13},
                                                                   {0, 100},
                                                                   {0, 101},
                                                                   {100, 1101},
                                                                   {3, 1004},
                                                                   {4000, 5500}}) {
            if (b > series.terms()) continue;
            const Numbers want = by_definition(a, b, m);
            for (const u64 tds : {1, 2, 7}) {
                for (const bool edge : {false, true}) {
                    SCOPED_TRACE(testing::Message()
                                 << "m=" << m << " " << a << ".." << b << " tds=" << tds << " edge=" << edge);
                    const Block run(series, a, b, tds, edge);
                    EXPECT_EQ(value(run.numbers[BrentMcMillanAB::kQ]), want.Q);
                    EXPECT_EQ(value(run.numbers[BrentMcMillanAB::kR]), want.R);
                    EXPECT_EQ(value(run.numbers[BrentMcMillanAB::kT]), want.T);
                    if (!edge) {
                        EXPECT_EQ(value(run.numbers[BrentMcMillanAB::kP]), want.P);
                    }
                    for (const ExactFloat& A : run.numbers) EXPECT_EQ(A.computed_residue(), A.residue);
                }
            }
        }
    }
}

// Where 10^15 digits have their indices.
TEST(BrentMcMillanTest, LeavesFarOut) {
    for (const u64 j : {u64(1) << 51, (u64(1) << 53) - 7}) {
        const BrentMcMillanAB::Series series(50, 100);
        Scratch memory(4 * 8 * sizeof(Word));
        for (const u64 terms : {1, 2}) {
            trel::AlignedBufferC view = memory.view();
            auto out = carve_range<ExactFloat>(view, Capacities<Family>{8, 8, 8, 8});
            Family::leaf({trel::serial_context(), {}, nullptr}, series, j - terms, j, out, false);
            const mpz_class q = reference::mpz_of(j);
            const mpz_class n2 = mpz_class(1) << 100;
            // In units of the lowest power.
            const auto scaled = [&](const ExactFloat& A) {
                mpz_class z = reference::to_mpz(A.T, A.L);
                const u64 down = 100 * (terms == 2 ? j - 1 : j) - 64 * static_cast<u64>(A.exp);
                EXPECT_LT(down, 64u);
                return mpz_class(z >> down);
            };
            if (terms == 1) {
                EXPECT_EQ(scaled(out[BrentMcMillanAB::kR]), 1);
                EXPECT_EQ(scaled(out[BrentMcMillanAB::kT]), 1);
            } else {
                EXPECT_EQ(scaled(out[BrentMcMillanAB::kR]), mpz_class(q * q + n2));
                EXPECT_EQ(scaled(out[BrentMcMillanAB::kT]), mpz_class(q * q * q + n2 * (2 * q - 1)));
                EXPECT_EQ(value(out[BrentMcMillanAB::kP]), mpz_class(2 * q - 1));
            }
            EXPECT_TRUE(memory.guards_intact());
        }
    }
}

TEST(BrentMcMillanTest, ALeafWithoutRoomIsRefused) {
    const BrentMcMillanAB::Series series(7, 100);
    Word words[16];
    for (const std::size_t small : {BrentMcMillanAB::kT, BrentMcMillanAB::kQ, BrentMcMillanAB::kR}) {
        ExactRange<Family> out;
        for (std::size_t i = 0; i < Family::kNumbers; i++) out[i] = ExactFloat(words, i == small ? 4 : 5);
        try {
            Family::leaf({trel::serial_context(), {}, nullptr}, series, 0, 2, out, false);
            ADD_FAILURE() << small;
        } catch (const trel::BufferTooSmallException& e) {
            EXPECT_EQ(e.function, "BrentMcMillanAB_BSR_End()");
            EXPECT_EQ(e.buffer_size, 4u);
            EXPECT_EQ(e.required_size, 5u);
        }
    }
}

// A changed bit in any number of a block is found when its residues are compared.
TEST(BrentMcMillanTest, AChangedBitIsFound) {
    const BrentMcMillanAB::Series series(7, 400);
    for (std::size_t i = 0; i < Family::kNumbers; i++) {
        for (const u64 bit : {0, 7, 63}) {
            Block run(series, 0, 300, 1, false);
            ExactFloat& A = run.numbers[i];
            A.T[A.L / 2] ^= Word(1) << bit;
            EXPECT_THROW(kvb_Verify_BSR(0, 300, run.numbers, trel::serial_context()),
                         trel::AlgorithmFailedException)
                << i;
        }
    }
}

}  // namespace
