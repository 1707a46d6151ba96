// The list of lengths, the choice from it, twiddle factors and the sizes that the algorithm reports.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>

#include "arith/fft/fft_algorithm.h"
#include "arith/fft/fft_parameters.h"
#include "arith/fft/fft_tables.h"
#include "arith/fft/fft_transform.h"
#include "base/errors/exceptions.h"
#include "platform/parallel/spawn_framework.h"
#include "support/scratch.h"

namespace {

using namespace trel;

struct Row {
    u64 capacity;
    u32 a, k;
    u64 points;
    u32 b;
};
// A second copy of the list, with every number written out.
constexpr Row kRows[] = {
    {2048, 1, 7, 128, 16},          {2560, 1, 7, 128, 20},          {4096, 1, 8, 256, 16},
    {5120, 1, 8, 256, 20},          {6144, 3, 7, 384, 16},          {7680, 3, 7, 384, 20},
    {8192, 1, 9, 512, 16},          {9216, 1, 9, 512, 18},          {10240, 5, 7, 640, 16},
    {11520, 5, 7, 640, 18},         {12288, 3, 8, 768, 16},         {13824, 3, 8, 768, 18},
    {16384, 1, 10, 1024, 16},       {17408, 1, 10, 1024, 17},       {18432, 1, 10, 1024, 18},
    {19456, 1, 10, 1024, 19},       {20480, 5, 8, 1280, 16},        {23040, 5, 8, 1280, 18},
    {24320, 5, 8, 1280, 19},        {24576, 3, 9, 1536, 16},        {27648, 3, 9, 1536, 18},
    {29184, 3, 9, 1536, 19},        {32768, 1, 11, 2048, 16},       {34816, 1, 11, 2048, 17},
    {36864, 1, 11, 2048, 18},       {40960, 5, 9, 2560, 16},        {46080, 5, 9, 2560, 18},
    {49152, 3, 10, 3072, 16},       {52224, 3, 10, 3072, 17},       {55296, 3, 10, 3072, 18},
    {65536, 1, 12, 4096, 16},       {73728, 1, 12, 4096, 18},       {81920, 5, 10, 5120, 16},
    {87040, 5, 10, 5120, 17},       {98304, 3, 11, 6144, 16},       {104448, 3, 11, 6144, 17},
    {131072, 1, 13, 8192, 16},      {139264, 1, 13, 8192, 17},      {163840, 5, 11, 10240, 16},
    {174080, 5, 11, 10240, 17},     {196608, 3, 12, 12288, 16},     {208896, 3, 12, 12288, 17},
    {262144, 1, 14, 16384, 16},     {278528, 1, 14, 16384, 17},     {327680, 5, 12, 20480, 16},
    {348160, 5, 12, 20480, 17},     {393216, 3, 13, 24576, 16},     {417792, 3, 13, 24576, 17},
    {524288, 1, 15, 32768, 16},     {655360, 5, 13, 40960, 16},     {786432, 3, 14, 49152, 16},
    {917504, 1, 16, 65536, 14},     {1048576, 1, 16, 65536, 16},    {1146880, 5, 14, 81920, 14},
    {1228800, 5, 14, 81920, 15},    {1376256, 3, 15, 98304, 14},    {1474560, 3, 15, 98304, 15},
    {1572864, 1, 17, 131072, 12},   {1835008, 1, 17, 131072, 14},   {1966080, 1, 17, 131072, 15},
    {2129920, 5, 15, 163840, 13},   {2293760, 5, 15, 163840, 14},   {2457600, 5, 15, 163840, 15},
    {2555904, 3, 16, 196608, 13},   {2752512, 3, 16, 196608, 14},   {2949120, 3, 16, 196608, 15},
    {3145728, 1, 18, 262144, 12},   {3407872, 1, 18, 262144, 13},   {3670016, 1, 18, 262144, 14},
    {3932160, 1, 18, 262144, 15},   {4259840, 5, 16, 327680, 13},   {4587520, 5, 16, 327680, 14},
    {4718592, 3, 17, 393216, 12},   {5111808, 3, 17, 393216, 13},   {5505024, 3, 17, 393216, 14},
    {5767168, 1, 19, 524288, 11},   {6291456, 1, 19, 524288, 12},   {6815744, 1, 19, 524288, 13},
    {7340032, 1, 19, 524288, 14},   {7864320, 5, 17, 655360, 12},   {9175040, 5, 17, 655360, 14},
    {9437184, 3, 18, 786432, 12},   {10223616, 3, 18, 786432, 13},  {11010048, 3, 18, 786432, 14},
    {12582912, 1, 20, 1048576, 12}, {14680064, 1, 20, 1048576, 14}, {15728640, 5, 18, 1310720, 12},
    {17039360, 5, 18, 1310720, 13}, {17301504, 3, 19, 1572864, 11}, {18874368, 3, 19, 1572864, 12},
    {20447232, 3, 19, 1572864, 13}, {23068672, 1, 21, 2097152, 11}, {27262976, 1, 21, 2097152, 13},
    {31457280, 5, 19, 2621440, 12}, {34078720, 5, 19, 2621440, 13}, {37748736, 3, 20, 3145728, 12},
    {40894464, 3, 20, 3145728, 13}, {50331648, 1, 22, 4194304, 12}, {52428800, 5, 20, 5242880, 10},
    {57671680, 5, 20, 5242880, 11}, {62914560, 5, 20, 5242880, 12}, {69206016, 3, 21, 6291456, 11},
    {75497472, 3, 21, 6291456, 12}, {83886080, 1, 23, 8388608, 10}, {100663296, 1, 23, 8388608, 12},
};

TEST(FftParametersTest, TableIsTheList) {
    const auto table = fft_parameter_table();
    ASSERT_EQ(table.size(), std::size(kRows));
    ASSERT_EQ(table.size(), 105u);
    for (u64 i = 0; i < table.size(); i++) {
        EXPECT_EQ(table[i].a, kRows[i].a) << i;
        EXPECT_EQ(table[i].k, kRows[i].k) << i;
        EXPECT_EQ(table[i].b, kRows[i].b) << i;
        EXPECT_EQ(table[i].points(), kRows[i].points) << i;
        EXPECT_EQ(table[i].capacity(), kRows[i].capacity) << i;
        EXPECT_EQ(kRows[i].points, u64(kRows[i].a) << kRows[i].k) << i;
        EXPECT_EQ(kRows[i].capacity, kRows[i].points * kRows[i].b) << i;
        if (i > 0) {
            EXPECT_LT(kRows[i - 1].capacity, kRows[i].capacity) << i;
        }
    }
}

TEST(FftParametersTest, ChoiceIsTheFirstThatFits) {
    for (u64 bits : {u64(0), u64(1), u64(2047), u64(2048)}) EXPECT_EQ(fft_entry_for(bits), 0u);
    EXPECT_EQ(fft_entry_for(2049), 1u);
    for (u64 i = 1; i < std::size(kRows); i++) {
        EXPECT_EQ(fft_entry_for(kRows[i].capacity), i);
        EXPECT_EQ(fft_entry_for(kRows[i - 1].capacity + 1), i);
    }
    EXPECT_EQ(fft_entry_for(100663296), 104u);
    EXPECT_THROW(fft_entry_for(100663297), LimitExceededException);
    EXPECT_THROW(fft_entry_for(~u64(0)), LimitExceededException);
}

TEST(FftAlgorithmTest, SizesAndLimit) {
    const MultiplyAlgorithm& fft = fft_algorithm();
    for (const Row& row : kRows) {
        const MultiplySizes s = fft.sizes(row.capacity / 64);
        // of the length that products which wrap take
        const FftParameters& wrapped =
            fft_parameter_table()[fft_entry_for(64 * fft.wrapped_words(row.capacity / 64))];
        EXPECT_GE(wrapped.capacity(), row.capacity);
        EXPECT_EQ(s.transform_data, wrapped.points() * 8 + Transform::kLabelBytes);
        EXPECT_EQ(s.scratch, 2 * s.transform_data + s.transform_scratch);
        EXPECT_EQ(s.transform_scratch, round_up_64(wrapped.capacity() / 8));
        EXPECT_GE(s.output, row.capacity / 8);
        for (u64 n : {s.output, s.scratch, s.transform_data, s.transform_scratch}) EXPECT_EQ(n % 64, 0u);
        EXPECT_EQ(fft.mSBsize(row.capacity / 64), s.scratch);
        TransformHolder holder;
        fft.make_transform(holder, row.capacity / 64, {serial_context(), {}});
        EXPECT_EQ(holder->convolution_bits(), row.capacity);
        EXPECT_LE(holder->data_bytes(), s.transform_data);
        EXPECT_LE(2 * holder->data_bytes() + holder->scratch_bytes(), s.scratch);
    }
    EXPECT_EQ(fft.sizes(kFftMaxBits / 64).output, kFftMaxBits / 8);
    TransformHolder holder;
    for (u64 words : {kFftMaxBits / 64 + 1, ~u64(0), (u64(1) << 58) + 1}) {
        EXPECT_THROW(fft.sizes(words), LimitExceededException) << words;
        EXPECT_THROW(fft.make_transform(holder, words, {serial_context(), {}}), LimitExceededException)
            << words;
    }
}

// |got - e^(pi i turns)| in units in the last place of 1; the angle comes as a fraction num / den.
double error_ulp(double re, double im, u64 num, u64 den) {
    mpfr_t angle, c, s;
    mpfr_inits2(200, angle, c, s, static_cast<mpfr_ptr>(nullptr));
    mpfr_const_pi(angle, MPFR_RNDN);
    mpfr_mul_ui(angle, angle, num, MPFR_RNDN);
    mpfr_div_ui(angle, angle, den, MPFR_RNDN);
    mpfr_sin_cos(s, c, angle, MPFR_RNDN);
    mpfr_sub_d(c, c, re, MPFR_RNDN);
    mpfr_sub_d(s, s, im, MPFR_RNDN);
    const double error = std::max(std::fabs(mpfr_get_d(c, MPFR_RNDN)), std::fabs(mpfr_get_d(s, MPFR_RNDN)));
    mpfr_clears(angle, c, s, static_cast<mpfr_ptr>(nullptr));
    return std::ldexp(error, 53);
}

// Turn of the node (depth, index) under root q of x^a = i, found by walking down from the root: a node with
// turn t has the children t/2 and t/2 + 1/2. Returned as a fraction of 4 a 2^depth.
u64 node_turn(u32 a, u32 q, u32 depth, u64 index) {
    u64 t = 4 * q + 1;  // over 4 a
    for (u32 d = 0; d < depth; d++) {
        const u64 den = u64(4 * a) << d;
        const bool second = index >> (depth - 1 - d) & 1;
        t += second ? den : 0;  // over 2 den
    }
    return t;
}

TEST(FftTablesTest, QuadsAreRootsOfTheirNodes) {
    for (u32 a : {1u, 3u, 5u}) {
        constexpr u32 kLogLow = FftTwiddles::kLogLow;
        const u32 k = 19;
        const u64 stride = fft_hi_stride(k);
        std::vector<FftQuad> hi(a * stride);
        fft_fill_hi(hi.data(), a, stride, serial_context());
        const FftTwiddles t = fft_twiddles(a, hi.data(), stride);
        for (u32 q = 0; q < a; q++) {
            for (u32 depth = 0; depth <= k - 5; depth++) {
                const u64 nodes = u64(1) << depth;
                for (u64 index = 0; index < nodes; index += 1 + nodes / 61) {
                    double re[4] = {}, im[4] = {};
                    double allowed = 0.51;
                    if (depth < kLogLow) {
                        const FftQuad& quad = t.direct[q * FftTwiddles::kDirect + nodes + index];
                        std::copy(quad.re, quad.re + 4, re);
                        std::copy(quad.im, quad.im + 4, im);
                    } else {
                        const FftQuad& h = t.hi[q * stride + (nodes >> kLogLow) + (index >> kLogLow)];
                        const FftQuad& l = t.low[index % FftTwiddles::kLow];
                        for (int i = 0; i < 4; i++) {
                            re[i] = std::fma(h.re[i], l.re[i], -(h.im[i] * l.im[i]));
                            im[i] = std::fma(h.re[i], l.im[i], h.im[i] * l.re[i]);
                        }
                        allowed = 3;
                    }
                    const u64 turn = node_turn(a, q, depth, index), den = u64(4 * a) << depth;
                    EXPECT_LE(error_ulp(re[0], im[0], turn, den), allowed);
                    EXPECT_LE(error_ulp(re[1], im[1], turn, 2 * den), allowed);
                    EXPECT_LE(error_ulp(re[2], im[2], turn, 4 * den), allowed);
                    EXPECT_LE(error_ulp(re[3], im[3], turn + den, 4 * den), allowed);
                }
            }
        }
    }
}

TEST(FftTablesTest, SharedTablesEqualOwnOnes) {
    const u64 words = 40894464 / 64;
    const u64 bytes = round_up_64(FftSharedTables::bytes(words));
    EXPECT_LT(bytes, u64(1) << 20);
    EXPECT_LT(FftSharedTables::bytes(66'600'000 / 64), u64(1) << 20);  // ten million digits
    Scratch memory(bytes), memory7(bytes);
    SpawnFramework spawn(64);
    const FftSharedTables shared(words, memory.view(), serial_context());
    const FftSharedTables shared7(words, memory7.view(), ParallelContext{&spawn, 7});
    EXPECT_TRUE(memory.guards_intact());
    EXPECT_EQ(std::memcmp(memory.data(), memory7.data(), bytes), 0);
    for (u32 a : {1u, 3u, 5u}) {
        for (u32 k : {12u, 15u, 20u}) {
            if (a == 5 && k == 20) continue;
            u64 stride;
            const FftQuad* table = shared.find(a, k, stride);
            ASSERT_NE(table, nullptr);
            const u64 own = fft_hi_stride(k);
            ASSERT_GE(stride, own);
            std::vector<FftQuad> quads(a * own);
            fft_fill_hi(quads.data(), a, own, serial_context());
            for (u32 q = 0; q < a; q++) {
                EXPECT_EQ(std::memcmp(table + q * stride, quads.data() + q * own, own * sizeof(FftQuad)), 0);
            }
        }
    }
    u64 stride;
    EXPECT_EQ(shared.find(1, 23, stride), nullptr);  // too small for that length
    EXPECT_EQ(FftSharedTables::bytes(100), 0u);
}

}  // namespace
