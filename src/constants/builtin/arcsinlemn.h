// The lemniscate arcsine of a rational number:
//
//   arcsinlemn(x/y) = sum over k >= 0 of ((1/2)_k / k!) (x/y)^(4k + 1) / (4k + 1)
//
// As a series of the hypergeometric family the term 0 stands apart, and
//
//   R(k) = P(k) = (2k - 1)(4k - 3) x^4,   Q(k) = 2k (4k + 1) y^4
#pragma once

#include <string>

#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

// x and y with what follows from them. Throws InvalidParametersException when a fourth power exceeds a word
// or 4x > 3y.
struct ArcSinlemnArgument {
    ArcSinlemnArgument(Word numerator, Word denominator);

    Word x, y, x4, y4;
    DoubleDouble ln_x4, ln_y4;
    DoubleDouble gain;  // nats by which a term falls at least
};

class ArcSinlemnSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    ArcSinlemnSeries(const ArcSinlemnArgument& argument, u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    DoubleDouble log_remaining(u64 k) const override;
    double log_size_R(u64 a, u64 b) const override;
    u64 zero_bits_Q(u64 a, u64 b) const override;
    void term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override;

    static u64 term_count(const ArcSinlemnArgument& argument, u64 precision_words);

  private:
    const ArcSinlemnArgument argument_;
    const DoubleDouble growth_, full_;
};

// (coefficient * arcsinlemn(x/y))^power.
class ArcSinlemn final : public EvaluatorFactory {
  public:
    // Throws the same as the argument, for a coefficient of 0, when |coefficient| * x exceeds a word, and for
    // a power other than 1 and -1.
    ArcSinlemn(i128 coefficient, Word x, Word y, i64 power = 1);
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

    // The heading of its run: "8 ArcSinlemn( 1/2 ):".
    std::string label() const;

  private:
    const i128 coefficient_;
    const ArcSinlemnArgument argument_;
    const int power_;
};

}  // namespace kalvor
