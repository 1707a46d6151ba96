// Roots, means, quotients and logarithms of values: planned, then run in exactly the memory of the plan, with
// errors inside the bounds that they return.
#include <gtest/gtest.h>
#include <mpfr.h>

#include "constants/builtin/pi.h"
#include "constants/formulas/agm_node.h"
#include "constants/formulas/log_agm_node.h"
#include "constants/formulas/quotient.h"
#include "constants/formulas/sqrt_word_node.h"
#include "reference/mpz_u64.h"
#include "support/evaluator_run.h"

using namespace kalvor;
using Formulas::NodePtr;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

struct Real {
    explicit Real(u64 words) { mpfr_init2(x, static_cast<mpfr_prec_t>(64 * words + 192)); }
    ~Real() { mpfr_clear(x); }
    Real(const Real&) = delete;
    Real& operator=(const Real&) = delete;
    // floor(x 2^(64 words))
    mpz_class scaled(u64 words) {
        mpz_class z;
        mpfr_mul_2ui(x, x, 64 * words, MPFR_RNDN);
        mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
        return z;
    }
    mpfr_t x;
};

// ln 2, and values that are no series, by MPFR.
class Given final : public EvaluatorFactory {
  public:
    enum Kind { log2, ten, third };
    explicit Given(Kind kind) : kind_(kind) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return std::make_unique<Value>(kind_, request.precision);
    }

  private:
    class Value final : public Evaluator {
      public:
        Value(Kind kind, u64 p) : kind_(kind), p_(p), needs_{p + 3, 0, 8} {}
        const Needs& needs() const override { return needs_; }
        std::vector<trel::WorkPhase> work() const override { return {}; }
        ErrorBound run(const MultiplyContext&, Status&, BigFloat& result) const override {
            Real x(p_ + 3);
            if (kind_ == log2) mpfr_const_log2(x.x, MPFR_RNDN);
            if (kind_ == ten) mpfr_set_ui(x.x, 10, MPFR_RNDN);
            if (kind_ == third) mpfr_ui_div(x.x, (mpfr_set_ui(x.x, 3, MPFR_RNDN), 1UL), x.x, MPFR_RNDN);
            const std::vector<Word> words = reference::to_words(x.scaled(p_ + 2), p_ + 3);
            std::copy(words.begin(), words.end(), result.T);
            result.L = p_ + 3;
            result.exp = -static_cast<i64>(p_) - 2;
            result.sign = true;
            while (result.T[result.L - 1] == 0) result.L--;
            return ErrorBound::of_words(result, p_ + 1, 0);
        }

      private:
        const Kind kind_;
        const u64 p_;
        const Needs needs_;
    };

    const Kind kind_;
};

NodePtr root(Word w) {
    return std::make_unique<Formulas::SqrtWordNode>(w);
}
NodePtr given(Given::Kind kind) {
    return std::make_unique<Given>(kind);
}

constexpr u64 kPrecisions[] = {3, 4, 7, 9, 10, 11, 40, 100, 521};

TEST(SqrtWordNodeTest, Values) {
    for (const u64 p : kPrecisions) {
        for (const Word w : {Word(2), Word(10005), (Word(1) << 63) - 1}) {
            Real x(p + kReferenceWords);
            mpfr_set_z(x.x, reference::mpz_of(w).get_mpz_t(), MPFR_RNDN);
            mpfr_sqrt(x.x, x.x, MPFR_RNDN);
            expect_value(*root(w), p, 2, x.scaled(p + kReferenceWords), std::to_string(w));
        }
    }
}

TEST(AgmNodeTest, OfARoot) {
    for (const u64 p : kPrecisions) {
        for (const Word w : {Word(2), Word(10005)}) {
            Real x(p + kReferenceWords), one(p);
            mpfr_sqrt_ui(x.x, w, MPFR_RNDN);
            mpfr_set_ui(one.x, 1, MPFR_RNDN);
            mpfr_agm(x.x, one.x, x.x, MPFR_RNDN);
            expect_value(Formulas::AgmNode(root(w)), p, 2, x.scaled(p + kReferenceWords),
                         std::to_string(w) + " p=" + std::to_string(p));
        }
    }
}

class QuotientOf final : public EvaluatorFactory {
  public:
    explicit QuotientOf(Formulas::AfterDivision after) : after_(after) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return Formulas::make_quotient(request, Pi(PiAlgorithm::chudnovsky), Formulas::SqrtWordNode(7),
                                       after_, "");
    }

  private:
    const Formulas::AfterDivision after_;
};

TEST(QuotientTest, PiByARoot) {
    using Formulas::AfterDivision;
    for (const u64 p : kPrecisions) {
        for (const auto& [after, power] : {std::pair<AfterDivision, long>{AfterDivision::nothing, 0},
                                           {AfterDivision::twice, 1},
                                           {AfterDivision::half, -1}}) {
            Real x(p + kReferenceWords), y(p + kReferenceWords);
            mpfr_const_pi(x.x, MPFR_RNDN);
            mpfr_sqrt_ui(y.x, 7, MPFR_RNDN);
            mpfr_div(x.x, x.x, y.x, MPFR_RNDN);
            mpfr_mul_2si(x.x, x.x, power, MPFR_RNDN);
            expect_value(QuotientOf(after), p, 1 + p % 2, x.scaled(p + kReferenceWords),
                         std::to_string(power) + " p=" + std::to_string(p));
        }
    }
}

TEST(LogAgmNodeTest, LogarithmsOfValues) {
    for (const u64 p : kPrecisions) {
        const auto logarithm = [](NodePtr x) {
            return Formulas::LogAgmNode(std::move(x), std::make_unique<Pi>(PiAlgorithm::chudnovsky),
                                        given(Given::log2));
        };
        Real x(p + kReferenceWords);
        mpfr_log_ui(x.x, 10, MPFR_RNDN);
        expect_value(logarithm(given(Given::ten)), p, 1, x.scaled(p + kReferenceWords), "10");
        Real y(p + kReferenceWords);
        mpfr_log_ui(y.x, 7, MPFR_RNDN);
        mpfr_div_ui(y.x, y.x, 2, MPFR_RNDN);
        expect_value(logarithm(root(7)), p, 2, y.scaled(p + kReferenceWords), "root of 7");
    }
}

// ln(1/3) < 0
TEST(LogAgmNodeTest, NegativeLogarithms) {
    const Formulas::LogAgmNode node(given(Given::third), std::make_unique<Pi>(PiAlgorithm::chudnovsky),
                                    given(Given::log2));
    kalvor_test::EvaluatorRun run(node, 50, 1);
    const BigFloat value = run.value();
    EXPECT_FALSE(value.sign);
    Real x(54);
    mpfr_log_ui(x.x, 3, MPFR_RNDN);
    mpz_class difference = reference::magnitude_at(value, -49) - x.scaled(49);
    EXPECT_LE(mpz_class(abs(difference)), mpz_class(1));
}

}  // namespace
