#include "constants/builtin/built_in_series.h"

#include "arith/estimate/double_double.h"
#include "constants/builtin/catalan_terms.h"
#include "constants/builtin/zeta3_terms.h"

namespace kalvor {
namespace {

constexpr const char* kLn1024 = "6.931471805599453094172321214581765680755";

constexpr BuiltInSeries kZeta3[] = {
    {"Wedeniwski (1998)", "SeriesZeta3Wedeniwski", "Zeta3_Wedeniwski_BSR_End_R1()", 1, 12463, 10368,
     "11.61360303272367278719252116826569593085", "13.69304457440350871544421753264022563507", 8, 6, 41, true,
     14, 9, 8, zeta3_wedeniwski_term},
    {"Amdeberhan-Zeilberger (1997)", "SeriesZeta3AZ1", "Zeta3_AZ1_BSR_End1()", 1, 77, 64, kLn1024, kLn1024, 5,
     12, 28, true, 7, 5, 5, zeta3_az_term},
};

constexpr BuiltInSeries kCatalan[] = {
    {"Pilehrood (2010-short)", "SeriesCatalanPilehoodShort", "Catalan_Pilehrood1_BSR_End1()", 1, 0, 2,
     "5.205379370888767529537007178618801091734", "9.364262454248439386040399907367860500187", 4, 8, 22,
     false, 3, 5, 4, catalan_pilehrood_short_term},
    {"Guillera (2019)", "SeriesCatalanGuillera2019", "Catalan_Guillera2019_BSR_End1()", -1, 0, 2,
     "5.728627514653315366053814403553671933374", "14.04639368137265907906059986105179075028", 6, 8, 29, true,
     4, 6, 6, catalan_guillera2019_term},
    {"Pilehrood (2010-long)", "SeriesCatalanPilehoodLong", "Catalan_Pilehrood_BSR_End1()", -1, 0, 2, kLn1024,
     "16.63553233343868742601357091499623763381", 8, 4, 33, true, 7, 8, 8, catalan_pilehrood_long_term},
    {"Guillera (2008)", "SeriesCatalanGuillera2008", "Catalan_Guillera2018_BSR_End()", 1, 2, 2,
     "2.079441541679835928251696364374529704227", "4.158883083359671856503392728749059408453", 3, 8, 20, true,
     4, 3, 3, catalan_guillera2008_term},
    {"Lupas (2000)", nullptr, "Catalan_Lupas_BSR_End1()", 1, 19, 18,
     "1.386294361119890618834464242916353136151", "5.545177444479562475337856971665412544604", 4, 10, 25,
     true, 6, 4, 4, catalan_lupas_term},
};

}  // namespace

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
