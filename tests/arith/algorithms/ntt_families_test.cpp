// The families as multiplication algorithms: what the registry says of them, products through every
// operation, and VST, which shares Code 17's transform.
#include <gtest/gtest.h>

#include "arith/c17/c17_algorithm.h"
#include "arith/c17/c17_transform.h"
#include "arith/hnt/hnt.h"
#include "arith/intntt/integer_ntt.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/ntt/ntt_check.h"
#include "arith/ntt/ntt_support.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/monitored_run.h"

namespace {

using namespace trel;
using namespace kalvor_test;

struct Row {
    const char *short_name, *long_name, *family, *variant;
    u64 max_bits;
    const MultiplyAlgorithm& algorithm;
};

class NttFamiliesTest : public testing::TestWithParam<Row> {};
const Row kRows[] = {
    {"N32", "32-bit NTT", "NTT32", "32-bit NTT", 2415919104, n32_algorithm()},
    {"N64", "64-bit NTT", "NTT64", "64-bit NTT", 0x3800000000000000, n64_algorithm()},
    {"HNT", "Hybrid NTT", "HNTs", "original", 0x7fff0000000, hnt_algorithm()},
    {"VST", "VST Algorithm", "VSTv2", "VST Algorithm", 0x1440000000000, vst_algorithm()},
    {"C17", "Code 17 Experiment", "C17v1", "Code 17 Experiment", 0x1440000000000, c17_algorithm()},
};
INSTANTIATE_TEST_SUITE_P(Names, NttFamiliesTest, testing::ValuesIn(kRows),
                         [](const auto& info) { return std::string(info.param.short_name); });

TEST_P(NttFamiliesTest, IsRegistered) {
    const Row& row = GetParam();
    for (const TableSlot slot : {TableSlot::basic64, TableSlot::swap64}) {
        const AlgorithmEntry* entry = find_algorithm(slot, row.short_name);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->algorithm, &row.algorithm);
        EXPECT_EQ(entry->long_name, row.long_name);
        EXPECT_EQ(entry->family, row.family);
        EXPECT_EQ(entry->variant, row.variant);
        EXPECT_EQ(entry->max_bits, row.max_bits);
    }
    ASSERT_NE(find_algorithm(TableSlot::basic32, row.short_name), nullptr);
    EXPECT_NE(find_algorithm(TableSlot::basic32, row.short_name)->algorithm32, nullptr);
    // a product of the largest size has a transform, one word more has none (HNT's lists go on)
    TransformHolder transform;
    row.algorithm.make_transform(transform, row.max_bits / 64, {serial_context(), {}});
    EXPECT_GE(transform->convolution_bits(), row.max_bits / 64 * 64);
    EXPECT_GE(row.algorithm.sizes(row.max_bits / 64).scratch, transform->plain_bytes());
    if (std::string(row.short_name) != "HNT") {
        EXPECT_THROW(row.algorithm.make_transform(transform, row.max_bits / 64 + 1, {serial_context(), {}}),
                     LimitExceededException);
    }
}

TEST_P(NttFamiliesTest, EveryOperation) {
    const MultiplyAlgorithm& algorithm = GetParam().algorithm;
    SpawnFramework spawn(64);
    for (const auto& [LA, LB] : {std::pair<u64, u64>(1, 1), {40, 3}, {700, 700}, {3000, 17}, {5000, 4000}}) {
        const auto A = operand(Kind::runs, LA, LA), B = operand(Kind::random, LB, LB + 1);
        const auto C = product(A, B), S = product(A, A);
        for (const u64 tds : {1, 2, 7}) {
            Scratch scratch(algorithm.sizes(std::max(LA + LB, 2 * LA)).scratch);
            const MultiplyContext context{{&spawn, tds}, scratch.view()};
            Output T(LA + LB), U(2 * LA), V(LA + LB - LB / 2);
            algorithm.mul(context, T.data(), A.data(), LA, B.data(), LB);
            EXPECT_EQ(T.words(), C);
            algorithm.sqr(context, U.data(), A.data(), LA);
            EXPECT_EQ(U.words(), S);
            algorithm.mul_skip(context, V.data(), LB / 2, LA + LB, A.data(), LA, B.data(), LB);
            EXPECT_EQ(V.words(), std::vector<Word>(C.begin() + static_cast<std::ptrdiff_t>(LB / 2), C.end()));
            EXPECT_TRUE(T.guards_intact() && U.guards_intact() && V.guards_intact() &&
                        scratch.guards_intact());
        }
    }
}

TEST_P(NttFamiliesTest, TooLongAndNamed) {
    const Row& row = GetParam();
    TransformHolder transform;
    row.algorithm.make_transform(transform, 3000, {serial_context(), {}});
    const std::vector<Word> A(transform->convolution_words() + 1, 1);
    Scratch data(transform->data_bytes()), scratch(transform->scratch_bytes());
    try {
        transform->forward(serial_context(), data.data(), A.data(), A.size(), scratch.data());
        FAIL();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.function, row.short_name);
        EXPECT_EQ(e.message, "Convolution length is too small.");
    }
    // the limit and the request are words
    const u64 limit =
        (std::string(row.short_name) == "HNT" ? hnt_list_b().back().capacity_bits() : row.max_bits) / 64;
    for (const u64 words : {limit + 1, ~u64(0) / 2, ~u64(0)}) {
        try {
            row.algorithm.sizes(words);
            FAIL();
        } catch (const LimitExceededException& e) {
            EXPECT_EQ(e.function, row.short_name);
            EXPECT_EQ(e.limit, limit);
            EXPECT_EQ(e.attempted, words);
        }
    }
    EXPECT_NO_THROW(row.algorithm.sizes(limit));
}

// Kernels that lay out a work area of their own warn when it is misaligned, and their products are right
// nevertheless.
TEST_P(NttFamiliesTest, MisalignedWorkArea) {
    const Row& row = GetParam();
    constexpr u64 n = 3000;
    TransformHolder t;
    row.algorithm.make_transform(t, n, {serial_context(), {}});
    const auto A = operand(Kind::random, n / 2, 1), B = operand(Kind::random, n - n / 2, 2);
    // the integer transforms have nothing there but the place for the check
    const bool needs_scratch = std::string(GetParam().short_name)[0] != 'N';
    const std::string warning = "\n{R}Data Misalignment. Possible performance penalty.\n{w}";
    for (const u64 shift : {u64(0), u64(8), u64(32)}) {
        Scratch x(t->data_bytes()), y(t->data_bytes()), scratch(t->scratch_bytes() + 64);
        u8* const area = static_cast<u8*>(scratch.data()) + shift;
        Output T(n);
        CaptureConsole console(CaptureConsole::terminal, true);
        MonitoredRun run;
        t->forward(run.context(), x.data(), A.data(), A.size(), area);
        t->forward(run.context(), y.data(), B.data(), B.size(), area);
        t->inverse(run.context(), T.data(), 0, n, x.data(), x.data(), y.data(), area);
        run.show();
        const std::string text = console.take();
        EXPECT_EQ(T.words(), product(A, B)) << shift;
        const bool warns = shift != 0 && needs_scratch;
        EXPECT_EQ(text, warns ? warning + warning + warning : "");
    }
    if (!needs_scratch) return;
    // everything misaligned
    Scratch memory(t->plain_bytes() + 64);
    Output T(n);
    CaptureConsole console(CaptureConsole::terminal, true);
    MonitoredRun run;
    t->multiply_plain(run.context(), T.data(), 0, n, A.data(), A.size(), B.data(), B.size(),
                      static_cast<u8*>(memory.data()) + 8);
    run.show();
    EXPECT_EQ(console.take().substr(0, warning.size()), warning);
    EXPECT_EQ(T.words(), product(A, B));
    EXPECT_TRUE(memory.guards_intact());
}

TEST(VstTest, FillsItsOwnRecords) {
    u64 i = 0;
    for (const NttRecord& r : ntt_tuned_records(NttFamily::vst)) {
        if (i++ % 5 != 0 || ntt_capacity_bits(NttFamily::vst, r) > 64 * 32768) continue;
        TransformHolder holder;
        const u64 W = ntt_capacity_bits(NttFamily::vst, r) / 64;
        vst_algorithm().make_transform(holder, W, {serial_context(), {}});
        EXPECT_EQ(holder->convolution_words(), W);
        check_products(*holder, serial_context(), kKinds[i % 4], W / 2, W - W / 2, i);
    }
}

TEST(VstTest, FailuresBearItsName) {
    const NttRecord& r = find_ntt_record(NttFamily::vst, 500000);
    const C17Transform t(c17_setup(active_isa(), r), NttFamily::vst);
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::random, W / 2, 1);
    Scratch x(t.data_bytes()), scratch(t.scratch_bytes());
    t.forward(serial_context(), x.data(), A.data(), A.size(), scratch.data());
    static_cast<double*>(x.data())[17] += 1;
    Output T(W);
    try {
        t.inverse(serial_context(), T.data(), 0, W, x.data(), x.data(), x.data(), scratch.data());
        FAIL();
    } catch (const ConvolutionFailedException& e) {
        EXPECT_EQ(e.function, "VST");
        EXPECT_EQ(e.message, "Coefficient is too large.");
        EXPECT_EQ(e.first, ntt_excess_bound(r));
    }
}

TEST(SlowVstTest, FillsLongRecords) {
    u64 i = 0;
    for (const NttRecord& r : ntt_tuned_records(NttFamily::vst)) {
        const u64 W = ntt_capacity_bits(NttFamily::vst, r) / 64;
        if (i++ % 17 != 3 || W < 32768 || W > u64(1) << 21) continue;
        TransformHolder holder;
        vst_algorithm().make_transform(holder, W, {serial_context(), {}});
        const auto A = operand(kKinds[i % 4], W / 2, i), B = operand(kKinds[i % 4], W - W / 2, i + 1);
        ASSERT_EQ(multiply(*holder, serial_context(), A, B, 0, W), product(A, B)) << W;
    }
}

}  // namespace
