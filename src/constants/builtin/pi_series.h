// The series of Pi (hypergeometric, constant term apart):
//
//                 R(k)                            P(k)                            Q(k)
//   Chudnovsky    -(2k - 1)(6k - 5)(6k - 1)       R(k) (13591409 + 545140134 k)   k^3 640320^3 / 24
//   Ramanujan     (2k - 1)(4k - 3)(4k - 1)        R(k) (1103 + 26390 k)           k^3 396^4 / 8
//
// (Chudnovsky and Chudnovsky 1988; Ramanujan 1914.)
#pragma once

#include "constants/bsr/common_p2b3.h"

namespace kalvor {

enum class PiSeriesKind { chudnovsky, ramanujan };

// What the two series differ in.
struct PiSeriesConstants {
    trel::Word A, B;           // P(k) = R(k) (A + B k)
    trel::Word C;              // Q(k) = k^3 C
    trel::Word r2, r2_offset;  // R(k) = (2k - 1)(r2 k - r2_offset)(r2 k - 1)
    trel::u64 zero_bits_C;     // 2^zero_bits_C divides C
    const char* gain;          // nats by which a term falls at least
    const char* growth;        // ln C
    trel::u64 leaf_threshold;
    bool alternating;
    const char *name_R1, *name_P1, *name_Q1;  // of the term functions, for reports

    static const PiSeriesConstants& of(PiSeriesKind kind);
};

class PiSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    PiSeries(PiSeriesKind kind, trel::u64 precision_words);

    double log_size_to(trel::u64 k) const override;
    trel::DoubleDouble log_size_to_dd(trel::u64 k) const override;
    trel::DoubleDouble log_remaining(trel::u64 k) const override;
    double log_size_R(trel::u64 a, trel::u64 b) const override;
    trel::u64 zero_bits_Q(trel::u64 a, trel::u64 b) const override;
    void term(trel::u64 k, trel::BasicIntR& P, trel::BasicIntR& Q, trel::BasicIntR& R) const override;

    // Terms for a precision.
    static trel::u64 term_count(PiSeriesKind kind, trel::u64 precision_words);

  private:
    const PiSeriesConstants& constants_;
    trel::DoubleDouble gain_, growth_, full_;
    double log_r_;  // R(k) < k^3 exp(log_r_)
};

}  // namespace kalvor
