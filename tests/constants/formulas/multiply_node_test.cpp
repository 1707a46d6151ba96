// Products of constants, one after the other: planned, then run in exactly the memory of the plan.
#include <gtest/gtest.h>
#include <mpfr.h>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/transform_tables.h"
#include "base/status/linear_console_node.h"
#include "constants/builtin/pi.h"
#include "constants/formulas/invsqrt_word_node.h"
#include "product_of.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using Formulas::InvsqrtWordNode;
using Formulas::NodePtr;
using trel::i64;
using trel::round_up_8;
using trel::Word;

namespace {

NodePtr pi(PiAlgorithm algorithm = PiAlgorithm::chudnovsky, int power = 1) {
    return std::make_unique<Pi>(algorithm, power);
}
NodePtr product(NodePtr first, NodePtr second) {
    return std::make_unique<kalvor_test::ProductOf>(std::move(first), std::move(second));
}
NodePtr invsqrt(Word w) {
    return std::make_unique<InvsqrtWordNode>(w);
}

// floor(Pi^power w^(-1/2) 2^(64 words))
mpz_class reference_power(long power, unsigned long w, u64 words) {
    mpfr_t x, root;
    mpfr_inits2(static_cast<mpfr_prec_t>(64 * words + 128), x, root, static_cast<mpfr_ptr>(nullptr));
    mpfr_const_pi(x, MPFR_RNDN);
    mpfr_pow_si(x, x, power, MPFR_RNDN);
    mpfr_rec_sqrt(root, (mpfr_set_ui(root, w, MPFR_RNDN), root), MPFR_RNDN);
    mpfr_mul(x, x, root, MPFR_RNDN);
    mpfr_mul_2ui(x, x, 64 * words, MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clears(x, root, static_cast<mpfr_ptr>(nullptr));
    return z;
}

bool available(u64 product_words) {
    return product_words <= trel::basic_table64().items().back().threshold_words;
}

// Runs in memory and tables of exactly the planned size. The value differs from the true one by a few units
// of its last word but one, a factor's error by a few more.
void check(const Formulas::Node& formula, u64 p, u64 tds, const mpz_class& want) {
    const auto evaluator = formula.make_evaluator({p, tds});
    const Needs& needs = evaluator->needs();
    Scratch result(round_up_8(needs.result_words) * sizeof(Word)), scratch(needs.bytes);
    Scratch table_memory(trel::round_up_64(trel::TransformTables::bytes(needs.product_words)));
    const trel::ParallelContext parallel{thread_framework(), tds};
    const trel::TransformTables tables(needs.product_words, table_memory.view(), parallel);
    for (const trel::TransformTables* shared :
         {static_cast<const trel::TransformTables*>(nullptr), &tables}) {
        BigFloat x(result.words(), needs.result_words);
        evaluator->run({parallel, scratch.view(), shared}, trel::null_status(), x);
        ASSERT_TRUE(result.guards_intact() && scratch.guards_intact() && table_memory.guards_intact());
        ASSERT_TRUE(x.sign);
        ASSERT_GE(x.L, p);
        ASSERT_LE(x.L, p + 2);
        const mpz_class error = reference::magnitude_at(x, -static_cast<i64>(p) - 4) - want;
        ASSERT_LE(mpz_sizeinbase(error.get_mpz_t(), 2), 64 * 5 + 6u) << "p=" << p << " tds=" << tds;
    }
}

TEST(MultiplyNodeTest, PiByPi) {
    const NodePtr square = product(pi(), pi());
    const NodePtr two_series = product(pi(PiAlgorithm::ramanujan), pi(PiAlgorithm::chudnovsky_reduced));
    for (const u64 p : {3, 4, 5, 8, 9, 17, 60, 101, 523, 2596, 5193}) {
        if (!available(3 * p)) continue;
        const mpz_class want = reference_power(2, 1, p + 4);
        for (const u64 tds : {1, 2, 7}) {
            check(*square, p, tds, want);
            check(*two_series, p, tds, want);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(MultiplyNodeTest, FactorsOfAnyKind) {
    const struct {
        NodePtr formula;
        long power;
        unsigned long w;
    } cases[] = {
        {product(pi(), pi(PiAlgorithm::ramanujan, -1)), 0, 1},
        {product(invsqrt(2), invsqrt(3)), 0, 6},
        {product(invsqrt(7), pi()), 1, 7},
        {product(product(pi(), invsqrt(2)), product(invsqrt(3), product(pi(), pi()))), 3, 6},
        {product(pi(), product(product(pi(), product(pi(), invsqrt(5))), pi())), 4, 5},
    };
    for (const auto& [formula, power, w] : cases) {
        for (const u64 p : {3, 6, 40, 333, 1500}) {
            if (!available(3 * p)) continue;
            const mpz_class want = reference_power(power, w, p + 4);
            for (const u64 tds : {1, 3}) {
                // Pi^0 may be 0.999... with a magnitude of 0, or 1.
                check(*formula, p, tds, want);
                if (HasFatalFailure()) FAIL() << "power=" << power << " w=" << w;
            }
        }
    }
}

// One factor's memory is used again by the other: a product takes little more than a factor and one value,
// however deep the tree is.
TEST(MultiplyNodeTest, FactorsShareTheirMemory) {
    for (const u64 p : {1000, 51909, 519054}) {
        for (const u64 tds : {1, 2}) {
            const u64 one = pi()->make_evaluator({p, tds})->needs().bytes;
            const auto bytes = [&](const NodePtr& node) {
                return node->make_evaluator({p, tds})->needs().bytes;
            };
            const u64 value = 8 * (p + 24);
            EXPECT_LE(bytes(product(pi(), pi())), one + value);
            EXPECT_LE(bytes(product(product(pi(), pi()), pi())), one + value);
            EXPECT_LE(bytes(product(product(pi(), pi()), product(pi(), pi()))), one + 2 * value);
        }
    }
}

TEST(MultiplyNodeTest, ItsStepsInTheirOrder) {
    const auto evaluator = product(pi(), invsqrt(2))->make_evaluator({55, 1});
    EXPECT_EQ(evaluator->needs().bytes, pi()->make_evaluator({55, 1})->needs().bytes);
    Scratch result(round_up_8(evaluator->needs().result_words) * sizeof(Word)),
        scratch(evaluator->needs().bytes);
    BigFloat x(result.words(), evaluator->needs().result_words);
    const CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    evaluator->run({trel::serial_context(), scratch.view(), nullptr}, status, x);
    std::string lines;
    for (std::size_t at = 0; at < console.text().size();) {
        const std::size_t end = console.text().find('\n', at);
        const std::string line = console.text().substr(at, end - at);
        if (line.find("Time:") == std::string::npos) lines += line + "; ";
        at = end + 1;
    }
    EXPECT_EQ(lines,
              "Pi - Chudnovsky (1988):; Series CommonP2B3...  76 terms  (Expansion Factor = 1.466); "
              "Finishing Series; Large Division...; InvSqrt(10005)...; Large Multiply...; InvSqrt(2)...; "
              "Large Multiply...; ");
}

TEST(MultiplyNodeTest, PhasesAndBlocksAreThoseOfBothFactors) {
    const auto evaluator = product(pi(), pi())->make_evaluator({60, 1});
    std::string phases;
    for (const trel::WorkPhase& phase : evaluator->work()) phases += phase.name + ";";
    const std::string one = "series;division;square root;multiplication;";
    EXPECT_EQ(phases, one + one + "multiplication;");
    const SeriesBlocks of_one = pi()->make_evaluator({60, 1})->series_blocks();
    EXPECT_EQ(evaluator->series_blocks().all, 2 * of_one.all);
    EXPECT_EQ(evaluator->series_blocks().checked, 2 * of_one.checked);
    EXPECT_EQ(evaluator->label(), "");
}

// A budget reaches the factors, less what stands beside them.
TEST(MultiplyNodeTest, BudgetsReachTheFactors) {
    const u64 p = 519054;
    const NodePtr square = product(pi(), pi());
    const u64 usual = square->make_evaluator({p, 1})->needs().bytes;
    const u64 reduced = product(pi(PiAlgorithm::chudnovsky_reduced), pi(PiAlgorithm::chudnovsky_reduced))
                            ->make_evaluator({p, 1})
                            ->needs()
                            .bytes;
    ASSERT_LT(reduced, usual);
    EXPECT_EQ(square->make_evaluator({p, 1, usual + 64 * 8})->needs().bytes, usual);
    EXPECT_EQ(square->make_evaluator({p, 1, 0})->needs().bytes, reduced);
}

}  // namespace
