// Series that a user gives by integer polynomials: what is checked of them, and the series themselves.
//
//   Hypergeometric   sum over k >= 1 of P(k) R(1) ... R(k - 1) / (Q(1) ... Q(k))
//   Hyperdescent     the same with R = 1
//   Binary BBP       sum over k >= 1 of s_k 2^(PowerShift - power k) P(k) / Q(k)
//
// The data are made once for a formula, whatever precision it is planned for: the zeros of Q and R take their
// time. Read-only after construction, any thread.
#pragma once

#include <memory>
#include <vector>

#include "base/names/names.h"
#include "constants/bsr/binary_bbp.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/hyperdescent.h"
#include "constants/bsr/series_value.h"
#include "constants/bsr/signed_terms.h"
#include "constants/evaluator/evaluator.h"
#include "constants/polynomials/term_sizer.h"

namespace kalvor::BinarySplitting {

// From the constant term up.
using PolynomialCoefficients = std::vector<i64>;

// Constructors throw InvalidParametersException, in this order: "Polynomial P(x) is zero.", "Polynomial R(x)
// is zero.", "Polynomial Q(x) must be degree 1 or higher.", "Polynomial P(x) has a zero top coefficient." (Q,
// R alike), what make_sizer() says of Q and R, and what enforce_convergence() says. Remarks of the search for
// zeros go to `remarks` unless null.

struct SeriesHypergeometric_PolyData {
    SeriesHypergeometric_PolyData(const PolynomialCoefficients& P, const PolynomialCoefficients& Q,
                                  const PolynomialCoefficients& R, Polynomials::Remarks* remarks);

    SignedPolynomial P, Q, R;
    Polynomials::PolynomialTermSizer sizer_Q, sizer_R;
    double log_scale;  // see Series::log_scale(), without the tail
};

struct SeriesHyperdescent_PolyData {
    SeriesHyperdescent_PolyData(const PolynomialCoefficients& P, const PolynomialCoefficients& Q,
                                Polynomials::Remarks* remarks);

    SignedPolynomial P, Q;
    Polynomials::PolynomialTermSizer sizer_Q;
    double log_scale;
};

struct SeriesBinaryBBP_PolyData {
    // power: 1 to 1024, else "Power cannot be zero." and "Power cannot be larger than 1024.".
    SeriesBinaryBBP_PolyData(u64 power, const PolynomialCoefficients& P, const PolynomialCoefficients& Q,
                             Polynomials::Remarks* remarks);

    u64 power;
    SignedPolynomial P, Q;
    Polynomials::PolynomialTermSizer sizer_Q;  // with the power of two
    double log_scale;                          // for PowerShift 0
};

// The series to a precision in words. s_k is (-1)^k where `alternating`, else 1.
std::shared_ptr<const CommonP2B3::Series> make_series(
    const std::shared_ptr<const SeriesHypergeometric_PolyData>& data, u64 precision);
std::shared_ptr<const Hyperdescent::Series> make_series(
    const std::shared_ptr<const SeriesHyperdescent_PolyData>& data, u64 precision);
std::shared_ptr<const BinaryBBP::Series> make_series(
    const std::shared_ptr<const SeriesBinaryBBP_PolyData>& data, bool alternating, i64 power_shift,
    u64 precision);

// The value ((P S + Q) / D)^power.
std::unique_ptr<Evaluator> make_evaluator(const std::shared_ptr<const SeriesHypergeometric_PolyData>& data,
                                          const Coefficients& coefficients, const EvaluatorRequest& request);
std::unique_ptr<Evaluator> make_evaluator(const std::shared_ptr<const SeriesHyperdescent_PolyData>& data,
                                          const Coefficients& coefficients, const EvaluatorRequest& request);
std::unique_ptr<Evaluator> make_evaluator(const std::shared_ptr<const SeriesBinaryBBP_PolyData>& data,
                                          bool alternating, i64 power_shift, const Coefficients& coefficients,
                                          const EvaluatorRequest& request);

}  // namespace kalvor::BinarySplitting
