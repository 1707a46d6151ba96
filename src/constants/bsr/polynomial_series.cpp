#include "constants/bsr/polynomial_series.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "base/errors/exceptions.h"
#include "constants/bsr/binary_bbp.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/hyperdescent.h"
#include "constants/bsr/polynomial_scale.h"
#include "constants/polynomials/convergence.h"
#include "constants/polynomials/term_counts.h"

namespace kalvor::BinarySplitting {
namespace {

using Polynomials::HypergeometricSizes;
using Polynomials::IntegerPolynomial;
using Polynomials::PolynomialTermSizer;

const char kHypergeometric[] = "SeriesHypergeometric_PolyData()";
const char kHyperdescent[] = "SeriesHyperdescent_PolyData()";
const char kBinaryBBP[] = "SeriesBinaryBBP_PolyData()";

constexpr u64 kLeafThreshold = 2;
// The estimates' own rounding.
constexpr double kSlack = 1;

[[noreturn]] void refuse(const char* where, const std::string& what) {
    throw InvalidParametersException(where, what);
}

const PolynomialCoefficients& checked(const char* where, const PolynomialCoefficients& P,
                                      const PolynomialCoefficients& Q, const PolynomialCoefficients* R) {
    if (P.empty()) refuse(where, "Polynomial P(x) is zero.");
    if (R != nullptr && R->empty()) refuse(where, "Polynomial R(x) is zero.");
    if (Q.size() < 2) refuse(where, "Polynomial Q(x) must be degree 1 or higher.");
    if (P.back() == 0) refuse(where, "Polynomial P(x) has a zero top coefficient.");
    if (Q.back() == 0) refuse(where, "Polynomial Q(x) has a zero top coefficient.");
    if (R != nullptr && R->back() == 0) refuse(where, "Polynomial R(x) has a zero top coefficient.");
    return P;
}

u64 checked_power(u64 power) {
    if (power == 0) refuse(kBinaryBBP, "Power cannot be zero.");
    if (power > 1024) refuse(kBinaryBBP, "Power cannot be larger than 1024.");
    return power;
}

PolynomialTermSizer sizer(const char* name, const PolynomialCoefficients& p, Polynomials::Remarks* remarks,
                          const DoubleDouble& extra = {}) {
    return Polynomials::make_sizer(name, IntegerPolynomial::of(p), extra, remarks);
}

// After the convergence is known.
double scale_if_convergent(const PolynomialCoefficients& P, const PolynomialCoefficients& Q,
                           const PolynomialCoefficients& R) {
    Polynomials::enforce_convergence(IntegerPolynomial::of(R), IntegerPolynomial::of(Q));
    return log_scale_of({P, Q, &R});
}

// What ranges and splits take. Runs ask it of every range of some hundred terms.
double size_of(const PolynomialTermSizer& sizer, u64 a, u64 b) {
    return b - a <= PolynomialTermSizer::kNearTerms ? sizer.near_log_size(a, b) : sizer.log_size(a, b).high;
}
// All of a series the same way.
double size_to(const PolynomialTermSizer& sizer, u64 k, u64 terms) {
    return terms <= PolynomialTermSizer::kNearTerms ? sizer.near_log_size_to(k) : sizer.log_size_to(k).high;
}

DoubleDouble remaining(const HypergeometricSizes& sizes, u64 terms, u64 p, u64 k) {
    return terms <= HypergeometricSizes::kNearTerms ? sizes.near_log_remaining(p, k)
                                                    : sizes.log_remaining(p, k);
}

double nats(u64 words) {
    return static_cast<double>(words) * dd::ln2_64().high;
}
double ln_of(u64 n) {
    return std::log(static_cast<double>(n));
}

// The largest of d ln k + (k - 1 - a) ln(7/8) for a < k <= b.
double largest_of_falling(u64 degree, u64 a, u64 b) {
    const double d = static_cast<double>(degree), fall = std::log(8.0 / 7);
    const double k = std::clamp(d / fall, static_cast<double>(a) + 1, static_cast<double>(b));
    return d * std::log(k) - fall * (k - 1 - static_cast<double>(a));
}

// ---- terms whose ratio is below 3/4

class HypergeometricSeries final : public CommonP2B3::Series {
  public:
    HypergeometricSeries(const std::shared_ptr<const SeriesHypergeometric_PolyData>& data, u64 p)
        : HypergeometricSeries(data, p, sizes(*data).terms(p)) {}

    double log_size_to(u64 k) const override { return size_to(data_->sizer_Q, k, terms()); }
    DoubleDouble log_size_to_dd(u64 k) const override { return data_->sizer_Q.log_size_to(k); }
    DoubleDouble log_remaining(u64 k) const override {
        return remaining(sizes(*data_), terms(), precision(), k);
    }
    std::optional<double> log_scale() const override { return scale_; }
    double log_size_Q(u64 a, u64 b) const override { return size_of(data_->sizer_Q, a, b) + kSlack; }
    double log_size_R(u64 a, u64 b) const override { return size_of(data_->sizer_R, a, b) + kSlack; }
    // Q times a sum of P(k) (3/4)^(k - 1 - a), and 3/4 = 6/7 7/8.
    double log_size_P(u64 a, u64 b) const override {
        return log_size_Q(a, b) + data_->P.log_coefficients() + largest_of_falling(data_->P.degree(), a, b) +
               std::log(7.0);
    }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void leaf(u64, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word*,
              const ParallelContext&) const override {
        constexpr const char* function = "SeriesHypergeometric_BSR_E()";
        data_->P.set(P, b, function);
        data_->Q.set(Q, b, function);
        if (!edge) data_->R.set(R, b, function);
    }

  private:
    static HypergeometricSizes sizes(const SeriesHypergeometric_PolyData& data) {
        return {&data.sizer_R, &data.sizer_Q, data.P.degree()};
    }
    static TermWords words_of(const SeriesHypergeometric_PolyData& data, u64 terms) {
        return {data.P.words(terms), data.Q.words(terms), data.R.words(terms)};
    }
    HypergeometricSeries(std::shared_ptr<const SeriesHypergeometric_PolyData> data, u64 p, u64 terms)
        : Series({terms, p, kLeafThreshold, data->P.degree() + data->Q.degree() + data->R.degree() + 3 + 10,
                  false},
                 words_of(*data, terms)),
          data_(std::move(data)) {
        // The first term that is left out, and those behind it.
        const u64 n = Series::terms();
        const DoubleDouble tail = data_->sizer_R.log_size(0, n) - data_->sizer_Q.log_size(0, n + 1);
        const double P = data_->P.log_coefficients() + static_cast<double>(data_->P.degree()) * ln_of(n + 1);
        scale_ = std::max(data_->log_scale, (tail + DoubleDouble(P + nats(p) + std::log(8.0))).high);
    }

    std::shared_ptr<const SeriesHypergeometric_PolyData> data_;
    double scale_ = 0;
};

// ---- R = 1

class HyperdescentSeries final : public Hyperdescent::Series {
  public:
    HyperdescentSeries(const std::shared_ptr<const SeriesHyperdescent_PolyData>& data, u64 p)
        : HyperdescentSeries(data, p, sizes(*data).terms(p)) {}

    double log_size_to(u64 k) const override { return size_to(data_->sizer_Q, k, terms()); }
    DoubleDouble log_size_to_dd(u64 k) const override { return data_->sizer_Q.log_size_to(k); }
    DoubleDouble log_remaining(u64 k) const override {
        return remaining(sizes(*data_), terms(), precision(), k);
    }
    std::optional<double> log_scale() const override { return scale_; }
    double log_size_Q(u64 a, u64 b) const override { return size_of(data_->sizer_Q, a, b) + kSlack; }
    // Q times a sum of P(k).
    double log_size_P(u64 a, u64 b) const override {
        return log_size_Q(a, b) + data_->P.log_coefficients() +
               static_cast<double>(data_->P.degree()) * ln_of(b) + ln_of(b - a) + kSlack;
    }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void leaf(u64, u64 b, ExactFloat& P, ExactFloat& Q, Word*) const override {
        constexpr const char* function = "SeriesHyperdescent_BSR_E()";
        data_->P.set(P, b, function);
        data_->Q.set(Q, b, function);
    }

  private:
    static HypergeometricSizes sizes(const SeriesHyperdescent_PolyData& data) {
        return {nullptr, &data.sizer_Q, data.P.degree()};
    }
    HyperdescentSeries(std::shared_ptr<const SeriesHyperdescent_PolyData> data, u64 p, u64 terms)
        : Series({terms, p, kLeafThreshold, data->P.degree() + data->Q.degree() + 2 + 10, false},
                 {data->P.words(terms), data->Q.words(terms)}),
          data_(std::move(data)) {
        const u64 n = Series::terms();
        const double P = data_->P.log_coefficients() + static_cast<double>(data_->P.degree()) * ln_of(n + 1);
        const DoubleDouble tail =
            DoubleDouble(P + nats(p) + std::log(8.0)) - data_->sizer_Q.log_size(0, n + 1);
        scale_ = std::max(data_->log_scale, tail.high);
    }

    std::shared_ptr<const SeriesHyperdescent_PolyData> data_;
    double scale_ = 0;
};

// ---- fractions with powers of two

class BinaryBBPSeries final : public BinaryBBP::Series {
  public:
    BinaryBBPSeries(const std::shared_ptr<const SeriesBinaryBBP_PolyData>& data, bool alternating, i64 shift,
                    u64 p)
        : BinaryBBPSeries(data, alternating, shift, p,
                          Polynomials::binary_bbp_terms(p, data->P.degree(), data->power)) {}

    double log_size_to(u64 k) const override { return size_to(data_->sizer_Q, k, terms()); }
    DoubleDouble log_size_to_dd(u64 k) const override { return data_->sizer_Q.log_size_to(k); }
    DoubleDouble log_remaining(u64 k) const override {
        return Polynomials::binary_bbp_remaining(precision(), data_->P.degree(), power(), k);
    }
    std::optional<double> log_scale() const override { return scale_; }
    double log_size_Q(u64 a, u64 b) const override {
        if (b - a <= PolynomialTermSizer::kNearTerms) {
            const double powers = static_cast<double>((b - a) * power()) * dd::ln2().high;
            return std::max(0.0, data_->sizer_Q.near_log_size(a, b) - powers) + kSlack;
        }
        const DoubleDouble powers = DoubleDouble::from_u64((b - a) * power()) * dd::ln2();
        return std::max(0.0, (data_->sizer_Q.log_size(a, b) - powers).high) + kSlack;
    }
    // Q times a sum of 2^(power (b - k)) P(k), the powers of which fall by 2 or more.
    double log_size_P(u64 a, u64 b) const override {
        return size_of(data_->sizer_Q, a, b) - static_cast<double>(power()) * dd::ln2().high + std::log(2.0) +
               data_->P.log_coefficients() + static_cast<double>(data_->P.degree()) * ln_of(b) + kSlack;
    }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void leaf(u64, u64 b, ExactFloat& P, ExactFloat& Q, Word*) const override {
        constexpr const char* function = "SeriesBinaryBBP_BSR_E()";
        data_->P.set(P, b, function);
        data_->Q.set(Q, b, function);
        BinaryBBP::set_power_and_sign(P, shift_ - static_cast<i64>(power() * b),
                                      alternating_terms_ && b % 2 != 0);
    }

  private:
    BinaryBBPSeries(std::shared_ptr<const SeriesBinaryBBP_PolyData> data, bool alternating, i64 shift, u64 p,
                    u64 terms)
        : Series({terms, p, kLeafThreshold, data->power / 64 + data->P.degree() + data->Q.degree() + 2 + 12,
                  false},
                 {data->P.words(terms), data->Q.words(terms)}, data->power),
          data_(std::move(data)),
          alternating_terms_(alternating),
          shift_(shift) {
        const u64 n = Series::terms();
        const double P = data_->P.log_coefficients() + static_cast<double>(data_->P.degree()) * ln_of(n + 1);
        const DoubleDouble powers = DoubleDouble::from_u64(n) * DoubleDouble::from_u64(power()) * dd::ln2();
        const DoubleDouble tail =
            DoubleDouble(P + nats(p) + std::log(8.0)) - powers - data_->sizer_Q.log_size(n, n + 1);
        scale_ = std::max(data_->log_scale, tail.high) + static_cast<double>(shift) * dd::ln2().high;
    }

    std::shared_ptr<const SeriesBinaryBBP_PolyData> data_;
    const bool alternating_terms_;
    const i64 shift_;
    double scale_ = 0;
};

}  // namespace

SeriesHypergeometric_PolyData::SeriesHypergeometric_PolyData(const PolynomialCoefficients& p,
                                                             const PolynomialCoefficients& q,
                                                             const PolynomialCoefficients& r,
                                                             Polynomials::Remarks* remarks)
    : P(checked(kHypergeometric, p, q, &r)),
      Q(q),
      R(r),
      sizer_Q(sizer("Q(x)", q, remarks)),
      sizer_R(sizer("R(x)", r, remarks)),
      log_scale(scale_if_convergent(p, q, r)) {}

SeriesHyperdescent_PolyData::SeriesHyperdescent_PolyData(const PolynomialCoefficients& p,
                                                         const PolynomialCoefficients& q,
                                                         Polynomials::Remarks* remarks)
    : P(checked(kHyperdescent, p, q, nullptr)),
      Q(q),
      sizer_Q(sizer("Q(x)", q, remarks)),
      log_scale(log_scale_of({p, q, nullptr})) {}

SeriesBinaryBBP_PolyData::SeriesBinaryBBP_PolyData(u64 power_of_two, const PolynomialCoefficients& p,
                                                   const PolynomialCoefficients& q,
                                                   Polynomials::Remarks* remarks)
    : power(checked_power(power_of_two)),
      P(checked(kBinaryBBP, p, q, nullptr)),
      Q(q),
      sizer_Q(sizer("Q(x)", q, remarks, DoubleDouble::from_u64(power) * dd::ln2())),
      log_scale(log_scale_of({p, q, nullptr, power})) {}

std::shared_ptr<const CommonP2B3::Series> make_series(
    const std::shared_ptr<const SeriesHypergeometric_PolyData>& data, u64 precision) {
    return std::make_shared<const HypergeometricSeries>(data, precision);
}

std::shared_ptr<const Hyperdescent::Series> make_series(
    const std::shared_ptr<const SeriesHyperdescent_PolyData>& data, u64 precision) {
    return std::make_shared<const HyperdescentSeries>(data, precision);
}

std::shared_ptr<const BinaryBBP::Series> make_series(
    const std::shared_ptr<const SeriesBinaryBBP_PolyData>& data, bool alternating, i64 power_shift,
    u64 precision) {
    return std::make_shared<const BinaryBBPSeries>(data, alternating, power_shift, precision);
}

std::unique_ptr<Evaluator> make_evaluator(const std::shared_ptr<const SeriesHypergeometric_PolyData>& data,
                                          const Coefficients& coefficients, const EvaluatorRequest& request) {
    return make_series_evaluator<CommonP2B3::Family>(make_series(data, request.precision), coefficients,
                                                     request, SeriesMemory::full);
}

std::unique_ptr<Evaluator> make_evaluator(const std::shared_ptr<const SeriesHyperdescent_PolyData>& data,
                                          const Coefficients& coefficients, const EvaluatorRequest& request) {
    return make_series_evaluator<Hyperdescent::Family>(make_series(data, request.precision), coefficients,
                                                       request, SeriesMemory::full);
}

std::unique_ptr<Evaluator> make_evaluator(const std::shared_ptr<const SeriesBinaryBBP_PolyData>& data,
                                          bool alternating, i64 power_shift, const Coefficients& coefficients,
                                          const EvaluatorRequest& request) {
    return make_series_evaluator<BinaryBBP::Family>(
        make_series(data, alternating, power_shift, request.precision), coefficients, request,
        SeriesMemory::full);
}

}  // namespace kalvor::BinarySplitting
