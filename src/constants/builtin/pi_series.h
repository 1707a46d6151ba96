// The series of Pi (hypergeometric, constant term apart):
//
//                 R(k)                            P(k)                            Q(k)
//   Chudnovsky    -(2k - 1)(6k - 5)(6k - 1)       R(k) (13591409 + 545140134 k)   k^3 640320^3 / 24
//   Ramanujan     (2k - 1)(4k - 3)(4k - 1)        R(k) (1103 + 26390 k)           k^3 396^4 / 8
//
// (Chudnovsky and Chudnovsky 1988; Ramanujan 1914.)
#pragma once

#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"

namespace kalvor {

enum class PiSeriesKind { chudnovsky, ramanujan };

// What the two series differ in.
struct PiSeriesConstants {
    Word A, B;           // P(k) = R(k) (A + B k)
    Word C;              // Q(k) = k^3 C
    Word r2, r2_offset;  // R(k) = (2k - 1)(r2 k - r2_offset)(r2 k - 1)
    u64 zero_bits_C;     // 2^zero_bits_C divides C
    const char* gain;    // nats by which a term falls at least
    const char* growth;  // ln C
    u64 leaf_threshold;
    bool alternating;
    const char *name_R1, *name_P1, *name_Q1;  // of the term functions, for reports

    static const PiSeriesConstants& of(PiSeriesKind kind);
};

class PiSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    PiSeries(PiSeriesKind kind, u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    DoubleDouble log_remaining(u64 k) const override;
    double log_size_R(u64 a, u64 b) const override;
    u64 zero_bits_Q(u64 a, u64 b) const override;
    void term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override;

    // Terms for a precision.
    static u64 term_count(PiSeriesKind kind, u64 precision_words);

  private:
    const PiSeriesConstants& constants_;
    DoubleDouble gain_, growth_, full_;
    double log_r_;  // R(k) < k^3 exp(log_r_)
};

}  // namespace kalvor
