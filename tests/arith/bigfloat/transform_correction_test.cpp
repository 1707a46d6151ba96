// Products by transforms that come out wrong twice: a lower algorithm does them, where the operands' words
// are still there and the memory has room for it.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "arith/bigfloat/big_float_transform.h"
#include "arith/bigfloat/number.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/changed_numbers.h"
#include "support/monitored_run.h"
#include "support/scratch.h"

namespace trel {
namespace {

const MultiplyAlgorithm& algorithm_of(const std::string& name) {
    return *find_algorithm(TableSlot::basic64, name)->algorithm;
}

struct Case {
    const char* failing;
    const char* lower;
    u64 words;  // of an operand
};
// Of Code 17 to the FFT, of the FFT to the basecase.
constexpr Case kCases[] = {{"C17", "FFT", 2000}, {"FFT", "BKT", 400}};

// A transform of the failing algorithm and its memory.
struct Made {
    Made(const Case& c, u64 product_words) {
        algorithm_of(c.failing).make_transform(holder, product_words, {serial_context(), {}});
    }
    u64 exact_bytes() const { return holder->data_bytes() + holder->scratch_bytes(); }
    u64 plain_bytes() const { return std::max(exact_bytes(), holder->plain_bytes()); }
    // With which a whole product by the lower algorithm can be done as well.
    u64 ample_bytes(const Case& c) const {
        return std::max(plain_bytes(), algorithm_of(c.lower).mSBsize(2 * c.words));
    }
    TransformHolder holder;
};

// Changes the words of the first two products.
class FirstTwoFail final : public ComputationStages {
  public:
    void at(const char* stage, void* memory, u64 bytes) override {
        if (std::string(stage) != "product" || count++ >= 2) return;
        static_cast<u8*>(memory)[bytes / 2] ^= 4;
    }
    u64 count = 0;
};

struct BigOperation {
    const char* name;
    bool held;
    std::function<void(const MultiplyContext&, BigFloatTransformR& R, BigFloatTransformR& S, BigFloat& T,
                       const BigFloat& A, const BigFloat& B)>
        run;
};
constexpr u64 kAll = 1u << 20;
const BigOperation kBigOperations[] = {
    {"sqr_r_x", false,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto&) {
         R.sqr_r_x(context, T, A, kAll, -9, 9000);
     }},
    {"mul_rr_xx", false,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto& B) {
         R.mul_rr_xx(context, T, A, kAll, B, kAll, 7, 9000);
     }},
    {"mul_rr_xf", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto& B) {
         R.mul_rr_xf(context, T, A, kAll, B, kAll, 7, 9000);
     }},
    {"mul_rf_xf", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto& B) {
         R.forward(context, A, kAll);
         R.mul_rf_xf(context, T, B, kAll, -9, 300);
     }},
    {"sqr_rx_xf", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto&) {
         R.sqr_rx_xf(context, T, A, kAll, 5, 9000);
     }},
    {"inverse_fmul", true,
     [](auto& context, auto& R, auto& S, auto& T, auto& A, auto& B) {
         R.forward(context, A, kAll);
         S.forward(context, B, kAll);
         R.inverse_fmul(context, T, S, 5, 9000);
     }},
    {"inverse_fsqr", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto&) {
         R.forward(context, A, kAll);
         R.inverse_fsqr(context, T, 5, 9000);
     }},
};

TEST(TransformCorrectionTest, ALowerAlgorithmDoesWhatFailsTwice) {
    std::mt19937_64 rng(5);
    for (const Case& c : kCases) {
        const Number A(random_words(c.words, rng), 0, true), B(random_words(c.words, rng), 0, false);
        const Made made(c, 2 * c.words);
        Scratch x(made.holder->data_bytes()), y(made.holder->data_bytes());
        for (const BigOperation& operation : kBigOperations) {
            SCOPED_TRACE(std::string(c.failing) + " " + operation.name);
            const auto run = [&](const MultiplyContext& context, HeldWords words, BigFloat& T) {
                BigFloatTransformR R(*made.holder, x.data(), words), S(*made.holder, y.data(), words);
                operation.run(context, R, S, T, A.value, B.value);
            };
            Scratch ample(made.ample_bytes(c)), exact(made.plain_bytes());
            ASSERT_LT(made.plain_bytes(), algorithm_of("FFT").mSBsize(4000));
            Number right(2 * c.words), T(2 * c.words);
            run({serial_context(), ample.view()}, HeldWords::stay, right.value);
            {
                CaptureConsole console;
                MonitoredRun monitored;
                FirstTwoFail fail;
                ParallelContext parallel = monitored.context();
                parallel.run->stages = &fail;
                run({parallel, ample.view()}, HeldWords::stay, T.value);
                EXPECT_EQ(fail.count, 3u);  // twice the failing algorithm, once the lower one
                EXPECT_EQ(monitored.corrected(), 1u);
                monitored.show();
                const std::string text = console.take();
                EXPECT_NE(text.find("Computation error detected and corrected."), std::string::npos);
                EXPECT_NE(text.find(std::string(" by an algorithm below ") + c.failing), std::string::npos)
                    << text;
            }
            ASSERT_EQ(T->L, right->L);
            EXPECT_TRUE(std::equal(T->T, T->T + T->L, right->T));
            EXPECT_EQ(T->exp, right->exp);
            EXPECT_EQ(T->sign, right->sign);
            EXPECT_EQ(T->residue, reference_residue(T.value));
            const auto fails = [&](const Scratch& scratch, HeldWords words) {
                FirstTwoFail fail;
                RunMonitor monitor;
                monitor.stages = &fail;
                ParallelContext parallel = serial_context();
                parallel.run = &monitor;
                EXPECT_THROW(run({parallel, scratch.view()}, words, T.value), ConvolutionFailedException);
                EXPECT_EQ(monitor.checks.corrected, 0u);
            };
            // There is no room for the FFT, or nobody says that the words stay.
            if (std::string(c.lower) == "FFT") fails(exact, HeldWords::stay);
            if (operation.held) fails(ample, HeldWords::change);
        }
    }
}

// The window of A^2 - B is the same whether the square folds or not.
TEST(TransformCorrectionTest, ALowerAlgorithmSquaresMinusANearNumber) {
    std::mt19937_64 rng(6);
    for (const Case& c : kCases) {
        // The square has 2 n words on a ring of about n + n / 8.
        const u64 n = std::string(c.failing) == "C17" ? 3600 : 400, te_words = n + n / 8;
        const Case longer{c.failing, c.lower, n};
        const Made made(c, te_words);
        ASSERT_LT(made.holder->convolution_words(), 2 * n);
        Scratch data(made.holder->data_bytes()), scratch(made.ample_bytes(longer));
        const Number A(random_words(n, rng), 0, true);
        const mpz_class square = reference::magnitude_at(A.value, 0) * reference::magnitude_at(A.value, 0);
        reference::Words random(te_words - 2);
        for (Word& word : random) word = rng();
        const mpz_class near = square - reference::to_mpz(random);
        reference::Words words(2 * n);
        mpz_export(words.data(), nullptr, -1, sizeof(Word), 0, 0, near.get_mpz_t());
        const Number B(words, 0, true);
        FirstTwoFail fail;
        for (const bool wrong : {false, true}) {
            SCOPED_TRACE(std::string(c.failing) + (wrong ? ", wrong twice" : ""));
            RunMonitor monitor;
            if (wrong) monitor.stages = &fail;
            ParallelContext parallel = serial_context();
            parallel.run = &monitor;
            BigFloatTransformR held(*made.holder, data.data(), HeldWords::stay);
            Number T(te_words);
            const i64 ie = 20;
            held.sqr_rx_xf_minus({parallel, scratch.view()}, T.value, A.value, n, B.value, ie,
                                 static_cast<i64>(te_words));
            EXPECT_EQ(monitor.checks.corrected, wrong ? 1u : 0u);
            EXPECT_EQ(T->residue, reference_residue(T.value));
            const mpz_class got = reference::shifted(reference::magnitude_at(T.value, T->exp), T->exp - ie);
            const mpz_class off =
                reference::low_words(reference::shifted(reference::to_mpz(random), -ie) - got + 3,
                                     te_words - static_cast<u64>(ie));
            EXPECT_LE(off, 6);
        }
    }
}

struct ExactOperation {
    const char* name;
    bool held;
    std::function<void(const MultiplyContext&, ExactFloatTransformR& R, ExactFloatTransformR& S,
                       ExactFloat& T, const ExactFloat& A, const ExactFloat& B)>
        run;
};
const ExactOperation kExactOperations[] = {
    {"mul_rr_xx", false,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto& B) { R.mul_rr_xx(context, T, A, B); }},
    {"square", false,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto&) { R.mul_rr_xx(context, T, A, A); }},
    {"mul_rr_xf", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto& B) { R.mul_rr_xf(context, T, A, B); }},
    {"mul_rf_xf", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto& B) {
         R.forward(context, A);
         R.mul_rf_xf(context, T, B);
     }},
    {"sqr_rx_xf", false,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto&) { R.sqr_rx_xf(context, T, A); }},
    {"inverse_fmul", true,
     [](auto& context, auto& R, auto& S, auto& T, auto& A, auto& B) {
         R.forward(context, A);
         S.forward(context, B);
         R.inverse_fmul(context, T, S);
     }},
    {"inverse_fsqr", true,
     [](auto& context, auto& R, auto&, auto& T, auto& A, auto&) {
         R.forward(context, A);
         R.inverse_fsqr(context, T);
     }},
};

TEST(TransformCorrectionTest, ALowerAlgorithmDoesExactProductsToo) {
    using Exact = kalvor_test::NumberOf<ExactFloat>;
    std::mt19937_64 rng(7);
    for (const Case& c : kCases) {
        const Exact A(random_words(c.words, rng), 3, true), B(random_words(c.words, rng), -2, false);
        const Made made(c, 2 * c.words);
        Scratch x(made.holder->data_bytes()), y(made.holder->data_bytes()), scratch(made.ample_bytes(c));
        for (const ExactOperation& operation : kExactOperations) {
            SCOPED_TRACE(std::string(c.failing) + " " + operation.name);
            const auto run = [&](ComputationStages* stages, HeldWords words, ExactFloat& T) {
                RunMonitor monitor;
                monitor.stages = stages;
                ParallelContext parallel = serial_context();
                parallel.run = &monitor;
                ExactFloatTransformR R(*made.holder, x.data(), words), S(*made.holder, y.data(), words);
                operation.run({parallel, scratch.view()}, R, S, T, A.value, B.value);
                return monitor.checks.corrected.load();
            };
            Exact right(2 * c.words), T(2 * c.words);
            EXPECT_EQ(run(nullptr, HeldWords::stay, right.value), 0u);
            FirstTwoFail fail;
            EXPECT_EQ(run(&fail, HeldWords::stay, T.value), 1u);
            EXPECT_EQ(fail.count, 3u);
            ASSERT_EQ(T->L, right->L);
            EXPECT_TRUE(std::equal(T->T, T->T + T->L, right->T));
            EXPECT_EQ(T->exp, right->exp);
            EXPECT_EQ(T->sign, right->sign);
            EXPECT_EQ(T->residue, T->computed_residue());
            if (!operation.held) continue;
            FirstTwoFail again;
            EXPECT_THROW(run(&again, HeldWords::change, T.value), ConvolutionFailedException);
        }
    }
}

}  // namespace
}  // namespace trel
