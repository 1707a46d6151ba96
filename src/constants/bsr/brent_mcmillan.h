// The family of the two sums of Brent and McMillan (1980), A = sum of (n^j / j!)^2 H_j and B = sum of
// (n^j / j!)^2, n = 2^m. A range (a, b] of indices yields
//
//   Q = (a + 1) ... b,                     P / Q   = sum of 1 / i,
//   R / Q^2 = sum of n^(2j) / ((a + 1) ... j)^2,
//   T / Q^3 = sum of n^(2j) / ((a + 1) ... j)^2 (1/(a + 1) + ... + 1/j),
//
// all positive, with absolute powers of n, which stand in exponents. Ranges merge by
//
//   Q = Q1 Q2,   P = P1 Q2 + P2 Q1,   R = R1 Q2^2 + R2,   T = Q2 (T1 Q2^2 + P1 R2) + T2 Q1.
//
// For the whole sum, (0, N]: B = 1 + R / Q^2 and A = T / Q^3.
#pragma once

#include "base/names/names.h"
#include "constants/bsr/family.h"

namespace kalvor::BinarySplitting::BrentMcMillanAB {

class Series final : public BinarySplitting::Series {
  public:
    static constexpr u64 kLargestM = 50;

    // m from 0 to kLargestM.
    Series(u64 m, u64 precision_words);

    u64 m() const { return m_; }
    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    double log_largest(u64 a, u64 b) const override;
    DoubleDouble log_remaining(u64 k) const override;
    // ln of Q, and of R in units of its lowest power of n.
    double log_size_Q(u64 a, u64 b) const;
    double log_size_R(u64 a, u64 b) const;

    // How many terms a precision wants: where (n^x / x!)^2 has fallen that far below its largest value.
    static u64 term_count(u64 m, u64 precision_words);

  private:
    // Sum of 2 max(ln n, ln i) over a < i <= b.
    double log_powers(u64 a, u64 b) const;

    const u64 m_;
    const DoubleDouble factorial_n_, largest_term_;  // ln n!, ln of the term n
};

enum : std::size_t { kT = 0, kQ = 1, kR = 2, kP = 3 };

struct Family {
    using Series = BrentMcMillanAB::Series;
    static constexpr std::size_t kNumbers = 4;
    static constexpr std::size_t kLink = kP;
    static constexpr const char* kBanner = "Series A and B...  ";
    using Exact = ExactRange<Family>;
    using Floats = FloatRange<Family>;
    using Words = Capacities<Family>;

    static Words capacities(const Series& series, u64 a, u64 b);
    static u64 term_words(const Series&) { return 12; }
    static u64 float_words(u64 precision) { return round_up_8(precision + 6); }
    // At even indices only.
    static u64 split(const Series& series, u64 a, u64 b);
    static Needs merge_needs(const MergeSizes<Family>& sizes);
    static Needs float_needs(const MergeSizes<Family>& sizes, u64 precision);

    // One term or two. BufferTooSmallException naming "BrentMcMillanAB_BSR_End()".
    static void leaf(const MultiplyContext& context, const Series& series, u64 a, u64 b, Exact& out,
                     bool edge);
    static void merge(const MultiplyContext& context, bool subtract, const Exact& left, const Exact& right,
                      Exact& out, bool edge);
    static void merge_float(const MultiplyContext& context, bool subtract, const Floats& left,
                            const Floats& right, Floats& out, u64 precision, u64 link_precision, bool edge);
};

static_assert(SeriesFamily<Family>);

}  // namespace kalvor::BinarySplitting::BrentMcMillanAB
