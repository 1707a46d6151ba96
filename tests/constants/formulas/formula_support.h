// Formulas from their texts, their errors, their values.
#pragma once

#include <gtest/gtest.h>
#include <mpfr.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "constants/formulas/build.h"
#include "constants/formulas/formula_evaluator.h"
#include "reference/mpz_words.h"
#include "support/documented_errors.h"
#include "support/evaluator_run.h"

namespace kalvor_test {

struct BuiltFormula {
    std::unique_ptr<kalvor::Formulas::VFormulaNode> root;
    std::vector<std::string> warnings;
};

// text: a value in the form of formula files; a blank is added for an integer.
inline BuiltFormula built(const std::string& text) {
    BuiltFormula out;
    const std::unique_ptr<trel::Config::Node> tree = trel::Config::parse_acfg(text + " ");
    out.root = kalvor::Formulas::build(*tree, [&](const std::string& w) { out.warnings.push_back(w); });
    return out;
}

// "location: message" of what building says, which must be in the list of errors that users have; "built"
// where it says nothing.
inline std::string refusal(const std::string& text) {
    try {
        built(text);
    } catch (const trel::StringException& e) {
        EXPECT_TRUE(is_documented(e.message)) << e.message;
        return e.function + ": " + e.message;
    }
    return "built";
}

class FormulaFactory final : public kalvor::EvaluatorFactory {
  public:
    explicit FormulaFactory(const std::string& text) : root_(built(text).root) {}
    std::unique_ptr<kalvor::Evaluator> make_evaluator(
        const kalvor::EvaluatorRequest& request) const override {
        return kalvor::Formulas::make_formula_evaluator(*root_, request);
    }

  private:
    const std::unique_ptr<kalvor::Formulas::VFormulaNode> root_;
};

class Real {
  public:
    explicit Real(trel::u64 words) { mpfr_init2(x, static_cast<mpfr_prec_t>(64 * words)); }
    ~Real() { mpfr_clear(x); }
    Real(const Real&) = delete;
    Real& operator=(const Real&) = delete;
    mpfr_t x;
};

inline void set_number(Real& to, const trel::BigFloat& A) {
    const mpz_class words = A.L == 0 ? mpz_class(0) : reference::magnitude_at(A, A.exp);
    mpfr_set_z_2exp(to.x, words.get_mpz_t(), static_cast<mpfr_exp_t>(64 * A.exp), MPFR_RNDN);
    if (!A.sign) mpfr_neg(to.x, to.x, MPFR_RNDN);
}

// Runs a formula in memory of exactly the planned size. Its value is within its bound of what MPFR says, and
// the bound is less than 2^bits units of the word p words below the value's top one.
inline void expect_formula(const std::string& text, trel::u64 p, trel::u64 tds,
                           const std::function<void(mpfr_t)>& want, trel::u32 bits = 16) {
    SCOPED_TRACE(text + " p=" + std::to_string(p));
    const FormulaFactory formula(text);
    EvaluatorRun run(formula, p, tds);
    trel::BigFloat value;
    try {
        value = run.value();
    } catch (const trel::StringException& e) {
        FAIL() << e.function << ": " << e.message;
    }
    ASSERT_TRUE(run.result.guards_intact() && run.working.guards_intact());
    Real reference(p + 80), computed(p + 80), bound(4);
    want(reference.x);
    set_number(computed, value);
    mpfr_sub(computed.x, computed.x, reference.x, MPFR_RNDN);
    mpfr_abs(computed.x, computed.x, MPFR_RNDN);
    if (run.error.exact) {
        EXPECT_TRUE(mpfr_zero_p(computed.x));
        return;
    }
    ASSERT_NE(value.L, 0u);
    EXPECT_LE(run.error.limit,
              (kalvor::PowerOfTwo{value.mag() - static_cast<trel::i64>(p), 0}.shifted(bits)));
    mpfr_set_ui_2exp(bound.x, 1, static_cast<mpfr_exp_t>(64 * run.error.limit.words + run.error.limit.bits),
                     MPFR_RNDU);
    EXPECT_LE(mpfr_cmp(computed.x, bound.x), 0);
}

}  // namespace kalvor_test
