#include "constants/builtin/built_in_series.h"

#include "arith/estimate/double_double.h"
#include "constants/builtin/catalan_terms.h"
#include "constants/builtin/pi_terms.h"
#include "constants/builtin/zeta3_terms.h"

namespace kalvor {
namespace {

constexpr const char* kLn1024 = "6.931471805599453094172321214581765680755";

// Linear factors of Q(k) and R(k).
constexpr LinearFactor kPiQ[] = {{1, 0, 3}};
constexpr LinearFactor kChudnovskyR[] = {{2, -1, 1}, {6, -5, 1}, {6, -1, 1}};
constexpr LinearFactor kRamanujanR[] = {{2, -1, 1}, {4, -3, 1}, {4, -1, 1}};
constexpr LinearFactor kWedeniwskiQ[] = {{3, 1, 1}, {3, 2, 1}, {4, 1, 3}, {4, 3, 3}};
constexpr LinearFactor kWedeniwskiR[] = {{1, 0, 5}, {2, -1, 3}};
constexpr LinearFactor kAmdeberhanZeilbergerQ[] = {{2, 1, 5}};
constexpr LinearFactor kAmdeberhanZeilbergerR[] = {{1, 0, 5}};
constexpr LinearFactor kPilehroodShortQ[] = {{6, -5, 2}, {6, -1, 2}};
constexpr LinearFactor kPilehroodShortR[] = {{1, 0, 3}, {2, -1, 1}};
constexpr LinearFactor kGuillera2019Q[] = {{6, -5, 3}, {6, -1, 3}};
constexpr LinearFactor kGuillera2019R[] = {{1, 0, 3}, {2, -1, 3}};
constexpr LinearFactor kPilehroodLongQ[] = {{8, -7, 2}, {8, -5, 2}, {8, -3, 2}, {8, -1, 2}};
constexpr LinearFactor kPilehroodLongR[] = {{1, 0, 3}, {2, -1, 1}, {4, -3, 2}, {4, -1, 2}};
constexpr LinearFactor kGuillera2008Q[] = {{2, 1, 3}};
constexpr LinearFactor kGuillera2008R[] = {{1, 0, 3}};
constexpr LinearFactor kLupasQ[] = {{4, 1, 2}, {4, 3, 2}};
constexpr LinearFactor kLupasR[] = {{1, 0, 3}, {2, -1, 1}};

constexpr BuiltInSeries kPi[] = {
    {.name = "Chudnovsky (1988)",
     .node = "SeriesPiChudnovsky",
     .coefficient_P = 1,
     .coefficient_Q = 13591409,
     .coefficient_D = 4270934400,
     .gain = "32.65445004176851599077913804969300490729",
     .growth = "36.93111616078457130182132488791258602081",
     .degree = 3,
     .leaf_threshold = 8,
     .growth_words = 23,
     .alternating = true,
     .words_P = 5,
     .words_Q = 4,
     .words_R = 3,
     .term = pi_chudnovsky_term,
     .leading_Q = 10939058860032000,
     .fold_degree = 1,
     .fold_at_1 = 558731543,
     .factored_Q = {10939058860032000, kPiQ},
     .factored_R = {1, kChudnovskyR},
     .zero_bits = pi_chudnovsky_zero_bits},
    // The gain is a little less than ln(396^4 / 256).
    {.name = "Ramanujan (1910)",
     .node = "SeriesPiRamanujan",
     .coefficient_P = 1,
     .coefficient_Q = 1103,
     .coefficient_D = 9801,
     .gain = "18.38047627747241588639166145022043732094",
     .growth = "21.84621530333808625449589681453160567684",
     .degree = 3,
     .leaf_threshold = 12,
     .growth_words = 23,
     .alternating = false,
     .words_P = 5,
     .words_Q = 4,
     .words_R = 3,
     .term = pi_ramanujan_term,
     .leading_Q = 3073907232,
     .fold_degree = 1,
     .fold_at_1 = 27493,
     .factored_Q = {3073907232, kPiQ},
     .factored_R = {1, kRamanujanR},
     .zero_bits = pi_ramanujan_zero_bits},
};

constexpr BuiltInSeries kZeta3[] = {
    {.name = "Wedeniwski (1998)",
     .node = "SeriesZeta3Wedeniwski",
     .coefficient_P = 1,
     .coefficient_Q = 12463,
     .coefficient_D = 10368,
     .gain = "11.61360303272367278719252116826569593085",
     .growth = "13.69304457440350871544421753264022563507",
     .degree = 8,
     .leaf_threshold = 6,
     .growth_words = 41,
     .alternating = true,
     .words_P = 14,
     .words_Q = 9,
     .words_R = 8,
     .term = zeta3_wedeniwski_term,
     .leading_Q = 884736,
     .shift = 4,
     .fold_degree = 5,
     .fold_at_1 = 1523508,
     .factored_Q = {24, kWedeniwskiQ},
     .factored_R = {1, kWedeniwskiR},
     .zero_bits = zeta3_wedeniwski_zero_bits},
    {.name = "Amdeberhan-Zeilberger (1997)",
     .node = "SeriesZeta3AZ1",
     .coefficient_P = 1,
     .coefficient_Q = 77,
     .coefficient_D = 64,
     .gain = kLn1024,
     .growth = kLn1024,
     .degree = 5,
     .leaf_threshold = 12,
     .growth_words = 28,
     .alternating = true,
     .words_P = 7,
     .words_Q = 5,
     .words_R = 5,
     .term = zeta3_az_term,
     .leading_Q = 1024,
     .shift = 2.5,
     .fold_degree = 2,
     .fold_at_1 = 532,
     .factored_Q = {32, kAmdeberhanZeilbergerQ},
     .factored_R = {1, kAmdeberhanZeilbergerR},
     .zero_bits = zeta3_az_zero_bits},
};

constexpr BuiltInSeries kCatalan[] = {
    {.name = "Pilehrood (2010-short)",
     .node = "SeriesCatalanPilehoodShort",
     .coefficient_P = 1,
     .coefficient_Q = 0,
     .coefficient_D = 2,
     .gain = "5.205379370888767529537007178618801091734",
     .growth = "9.364262454248439386040399907367860500187",
     .degree = 4,
     .leaf_threshold = 8,
     .growth_words = 22,
     .alternating = false,
     .words_P = 3,
     .words_Q = 5,
     .words_R = 4,
     .term = catalan_pilehrood_short_term,
     .leading_Q = 11664,
     .shift = -2,
     .factored_Q = {9, kPilehroodShortQ},
     .factored_R = {32, kPilehroodShortR}},
    {.name = "Guillera (2019)",
     .node = "SeriesCatalanGuillera2019",
     .coefficient_P = -1,
     .coefficient_Q = 0,
     .coefficient_D = 2,
     .gain = "5.728627514653315366053814403553671933374",
     .growth = "14.04639368137265907906059986105179075028",
     .degree = 6,
     .leaf_threshold = 8,
     .growth_words = 29,
     .alternating = true,
     .words_P = 4,
     .words_Q = 6,
     .words_R = 6,
     .term = catalan_guillera2019_term,
     .leading_Q = 1259712,
     .shift = -3,
     .factored_Q = {27, kGuillera2019Q},
     .factored_R = {512, kGuillera2019R}},
    {.name = "Pilehrood (2010-long)",
     .node = "SeriesCatalanPilehoodLong",
     .coefficient_P = -1,
     .coefficient_Q = 0,
     .coefficient_D = 2,
     .gain = kLn1024,
     .growth = "16.63553233343868742601357091499623763381",
     .degree = 8,
     .leaf_threshold = 4,
     .growth_words = 33,
     .alternating = true,
     .words_P = 7,
     .words_Q = 8,
     .words_R = 8,
     .term = catalan_pilehrood_long_term,
     .leading_Q = 16777216,
     .shift = -4,
     .factored_Q = {1, kPilehroodLongQ},
     .factored_R = {32, kPilehroodLongR}},
    // The growth is ln 64, though Q is about 8 k^3.
    {.name = "Guillera (2008)",
     .node = "SeriesCatalanGuillera2008",
     .coefficient_P = 1,
     .coefficient_Q = 2,
     .coefficient_D = 2,
     .gain = "2.079441541679835928251696364374529704227",
     .growth = "4.158883083359671856503392728749059408453",
     .degree = 3,
     .leaf_threshold = 8,
     .growth_words = 20,
     .alternating = true,
     .words_P = 4,
     .words_Q = 3,
     .words_R = 3,
     .term = catalan_guillera2008_term,
     .leading_Q = 8,
     .shift = 1.5,
     .fold_degree = 1,
     .fold_at_1 = 5,
     .factored_Q = {1, kGuillera2008Q},
     .factored_R = {1, kGuillera2008R}},
    {.name = "Lupas (2000)",
     .coefficient_P = 1,
     .coefficient_Q = 19,
     .coefficient_D = 18,
     .gain = "1.386294361119890618834464242916353136151",
     .growth = "5.545177444479562475337856971665412544604",
     .degree = 4,
     .leaf_threshold = 10,
     .growth_words = 25,
     .alternating = true,
     .words_P = 6,
     .words_Q = 4,
     .words_R = 4,
     .term = catalan_lupas_term,
     .leading_Q = 256,
     .shift = 2,
     .fold_degree = 2,
     .fold_at_1 = 115,
     .factored_Q = {1, kLupasQ},
     .factored_R = {32, kLupasR}},
};

}  // namespace

std::span<const BuiltInSeries> pi_series() {
    return kPi;
}

std::span<const BuiltInSeries> zeta3_series() {
    return kZeta3;
}

std::span<const BuiltInSeries> catalan_series() {
    return kCatalan;
}

u64 built_in_terms(const char* gain, u64 precision_words) {
    const DoubleDouble per_word = dd::ln2_64() * reciprocal(DoubleDouble::parse(gain));
    return static_cast<u64>(
        round_parts(DoubleDouble::from_u64(precision_words) * per_word + DoubleDouble(1.5)));
}

}  // namespace kalvor
