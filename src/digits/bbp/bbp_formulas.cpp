#include "digits/bbp/bbp_formulas.h"

#include <algorithm>

#include "base/errors/exceptions.h"

namespace kalvor::BBPv2 {

namespace {

// Bailey, Borwein, Plouffe (1997).
constexpr SubSum kOriginal[] = {
    {8, 1, -4, 2, false},
    {2, 1, -4, -1, true},
    {8, 5, -4, 0, true},
    {4, 3, -4, -1, true},
};

// Bellard (1997), whose signs alternate, by pairs of its terms: the e of a sub-sum of odd terms is that of
// the even ones less 10.
constexpr SubSum kBellard[] = {
    {8, 1, -20, -1, true},     {8, 3, -20, -6, true},    {8, 5, -20, -11, false},   {8, 7, -20, -16, false},
    {20, 1, -20, 2, false},    {20, 3, -20, 0, true},    {20, 5, -20, -4, true},    {20, 7, -20, -4, true},
    {20, 9, -20, -6, false},   {20, 11, -20, -8, true},  {20, 13, -20, -10, false}, {20, 15, -20, -14, false},
    {20, 17, -20, -14, false}, {20, 19, -20, -16, true},
};

const FormulaRow kRows[kFormulas] = {
    {"Original 4-term BBP",
     "Original 4-term BBP",
     {"         inf   1  (  4      2      1      1   )",  //
      "    Pi = SUM ---- ( ---- - ---- - ---- - ---- )",  //
      "         k=0 16^k ( 8k+1   8k+4   8k+5   8k+6 )"},
     kOriginal},
    {"Bellard's 7-term BBP",
     "Bellard's 7-term BBP  (~43% faster)",
     {"         inf (-1)^k (   2^-1   2^-6    2^2      1     2^-4    2^-4    2^-6  )",
      "    Pi = SUM ------ ( - ---- - ---- + ----- - ----- - ----- - ----- + ----- )",
      "         k=0 1024^k (   4k+1   4k+3   10k+1   10k+3   10k+5   10k+7   10k+9 )"},
     kBellard},
};

}  // namespace

u64 SubSum::tail_begin() const {
    return e < 1 ? 0 : static_cast<u64>((e - 1) / -c) + 1;
}

const FormulaRow& formula(u64 number) {
    return kRows[number];
}

SubSum at_offset(SubSum sub_sum, u64 offset) {
    sub_sum.e += static_cast<i64>(4 * offset);
    return sub_sum;
}

Figures figures_of(u64 formula_number, u64 offset, u64 digits) {
    Figures f;
    f.working_digits = digits + kExtraDigits;
    f.precision = (digits + 23) / 8;
    f.limbs = std::max<u64>((32 * f.precision + 47) / 48, 2);
    const u64 positions = offset + f.working_digits;
    switch (formula_number) {
        case kOriginalBbp:
            f.terms = positions;
            f.largest_divisor = 8 * f.terms + 2;
            return f;
        case kBellardBbp: {
            const u64 t = positions * 4 / 20;
            f.terms = t + 1;
            f.largest_divisor = (5 * t + 5) * 4 + 2;
            return f;
        }
        default:
            throw InvalidParametersException("BBPSession::update_settings()", "Invalid Algorithm");
    }
}

}  // namespace kalvor::BBPv2
