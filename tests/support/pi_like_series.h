// The two series of Pi as any hypergeometric series would be written, for tests below the room of the
// constants.
#pragma once

#include <bit>
#include <cmath>

#include "constants/bsr/common_p2b3.h"

namespace kalvor_test {

class PiLikeSeries final : public kalvor::BinarySplitting::CommonP2B3::Series {
  public:
    using u64 = trel::u64;
    using DoubleDouble = trel::DoubleDouble;

    // Chudnovsky's or Ramanujan's terms
    PiLikeSeries(bool chudnovsky, u64 precision)
        : Series({static_cast<u64>(
                      static_cast<double>(precision) * 44.36141955583649980 / gain_of(chudnovsky) + 2),
                  precision, chudnovsky ? u64(8) : u64(12), 23, chudnovsky},
                 {5, 4, 3}),
          chudnovsky_(chudnovsky) {}

    // Stirling; lgamma() writes a global of the C library so tasks must not call it.
    static double ln_factorial(u64 k) {
        const double x = static_cast<double>(k);
        return k == 0 ? 0 : (x + 0.5) * std::log(x) - x + 0.918938533204672742 + 1 / (12 * x);
    }
    double log_size_to(u64 k) const override {
        return 3 * ln_factorial(k) + static_cast<double>(k) * std::log(C());
    }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    DoubleDouble log_remaining(u64 k) const override {
        const double rest = static_cast<double>(precision()) * 44.36141955583649980 -
                            gain_of(chudnovsky_) * static_cast<double>(k);
        return DoubleDouble(rest > 0 ? rest : 0);
    }
    double log_size_R(u64 a, u64 b) const override {
        return 3 * (ln_factorial(b) - ln_factorial(a)) +
               static_cast<double>(b - a) * std::log(chudnovsky_ ? 72 : 32);
    }
    u64 zero_bits_Q(u64 a, u64 b) const override {
        u64 bits = (b - a) * (chudnovsky_ ? 15 : 5);
        for (u64 k = a + 1; k <= b; k++) bits += 3 * static_cast<u64>(std::countr_zero(k));
        return bits;
    }
    void term(u64 k, trel::BasicIntR& P, trel::BasicIntR& Q, trel::BasicIntR& R) const override {
        const u64 s = chudnovsky_ ? 6 : 4;
        R.set_word(2 * k - 1);
        R.mul_uW(s * k - s + 1);
        R.mul_uW(s * k - 1);
        P.set_BasicInt(R);
        P.mul_uW(chudnovsky_ ? 13591409 + 545140134 * k : 1103 + 26390 * k);
        Q.set_word(k);
        Q.mul_uW(k);
        Q.mul_uW(k);
        Q.mul_uW(chudnovsky_ ? 10939058860032000 : 3073907232);
    }

  private:
    static double gain_of(bool chudnovsky) { return chudnovsky ? 32.654450041768516 : 18.380476277472416; }
    double C() const { return chudnovsky_ ? 10939058860032000.0 : 3073907232.0; }

    bool chudnovsky_;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::PiLikeSeries;
