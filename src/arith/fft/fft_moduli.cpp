#include "arith/fft/fft_moduli.h"

#include <iterator>
#include <vector>

namespace trel {
namespace {

// For each entry of the parameter table a product of prime factors of 2^capacity + 1, below 2^62; 0: no
// factor of it is known that small.
//
// With three or five times 2^k points, x^N + 1 has two factors over the integers, and an error inside the
// branches of one of them may be a multiple of the other: it cancels modulo primes of the other. So a good
// modulus has primes of both kinds, those that divide 2^(capacity / a) + 1 and those that do not.
struct Entry {
    u64 modulus;
    bool good;
};
// clang-format off
constexpr Entry kModuli[] = {
    {311453532161, true},  // 1 * 2^7 points of 16 bits
    {1844447941140600833, true},  // 1 * 2^7 points of 20 bits
    {21822356733001729, true},  // 1 * 2^8 points of 16 bits
    {295760497253281793, true},  // 1 * 2^8 points of 20 bits
    {311453532161, false},  // 3 * 2^7 points of 16 bits
    {1844447941140600833, false},  // 3 * 2^7 points of 20 bits
    {2663848877152141313, true},  // 1 * 2^9 points of 16 bits
    {295760497253281793, true},  // 1 * 2^9 points of 18 bits
    {311453532161, false},  // 5 * 2^7 points of 16 bits
    {1238926361552897, false},  // 5 * 2^7 points of 18 bits
    {21822356733001729, false},  // 3 * 2^8 points of 16 bits
    {18475106334908417, true},  // 3 * 2^8 points of 18 bits
    {0, false},  // 1 * 2^10 points of 16 bits
    {295760497253281793, true},  // 1 * 2^10 points of 17 bits
    {86967138131969, true},  // 1 * 2^10 points of 18 bits
    {295760497253281793, true},  // 1 * 2^10 points of 19 bits
    {2696596474112901121, true},  // 5 * 2^8 points of 16 bits
    {1844447941140600833, true},  // 5 * 2^8 points of 18 bits
    {1238926361552897, false},  // 5 * 2^8 points of 19 bits
    {6051394363785217, false},  // 3 * 2^9 points of 16 bits
    {999357460283584513, true},  // 3 * 2^9 points of 18 bits
    {94273484535457793, true},  // 3 * 2^9 points of 19 bits
    {2327042503868417, true},  // 1 * 2^11 points of 16 bits
    {3903689295936454657, true},  // 1 * 2^11 points of 17 bits
    {21822356733001729, true},  // 1 * 2^11 points of 18 bits
    {444165519067545601, true},  // 5 * 2^9 points of 16 bits
    {1321791980350283777, true},  // 5 * 2^9 points of 18 bits
    {0, false},  // 3 * 2^10 points of 16 bits
    {312111894934609921, false},  // 3 * 2^10 points of 17 bits
    {826662768143515649, true},  // 3 * 2^10 points of 18 bits
    {825753601, true},  // 1 * 2^12 points of 16 bits
    {2663848877152141313, true},  // 1 * 2^12 points of 18 bits
    {902430721, false},  // 5 * 2^10 points of 16 bits
    {2103208541124775937, true},  // 5 * 2^10 points of 17 bits
    {2327042503868417, false},  // 3 * 2^11 points of 16 bits
    {3903689295936454657, false},  // 3 * 2^11 points of 17 bits
    {31065037602817, true},  // 1 * 2^13 points of 16 bits
    {2663848877152141313, true},  // 1 * 2^13 points of 17 bits
    {2327042503868417, false},  // 5 * 2^11 points of 16 bits
    {1649499052892161, true},  // 5 * 2^11 points of 17 bits
    {649399881695233, true},  // 3 * 2^12 points of 16 bits
    {3054354070439329793, true},  // 3 * 2^12 points of 17 bits
    {13631489, true},  // 1 * 2^14 points of 16 bits
    {2940141569, true},  // 1 * 2^14 points of 17 bits
    {825753601, false},  // 5 * 2^12 points of 16 bits
    {2696596474112901121, true},  // 5 * 2^12 points of 17 bits
    {31065037602817, false},  // 3 * 2^13 points of 16 bits
    {6051394363785217, false},  // 3 * 2^13 points of 17 bits
    {646730219521, true},  // 1 * 2^15 points of 16 bits
    {31065037602817, false},  // 5 * 2^13 points of 16 bits
    {13631489, false},  // 3 * 2^14 points of 16 bits
    {31065037602817, true},  // 1 * 2^16 points of 14 bits
    {0, false},  // 1 * 2^16 points of 16 bits
    {2327042503868417, false},  // 5 * 2^14 points of 14 bits
    {107175936001, false},  // 5 * 2^14 points of 15 bits
    {77278488482807809, true},  // 3 * 2^15 points of 14 bits
    {402882537780019201, true},  // 3 * 2^15 points of 15 bits
    {646730219521, true},  // 1 * 2^17 points of 12 bits
    {100055579099137, true},  // 1 * 2^17 points of 14 bits
    {31065037602817, true},  // 1 * 2^17 points of 15 bits
    {10345031250608129, true},  // 5 * 2^15 points of 13 bits
    {825753601, false},  // 5 * 2^15 points of 14 bits
    {277850026786160641, true},  // 5 * 2^15 points of 15 bits
    {565626578550915073, true},  // 3 * 2^16 points of 13 bits
    {31065037602817, false},  // 3 * 2^16 points of 14 bits
    {2308613644698255361, true},  // 3 * 2^16 points of 15 bits
    {0, false},  // 1 * 2^18 points of 12 bits
    {13631489, true},  // 1 * 2^18 points of 13 bits
    {646730219521, true},  // 1 * 2^18 points of 14 bits
    {2787262194515969, true},  // 1 * 2^18 points of 15 bits
    {112562503855636481, true},  // 5 * 2^16 points of 13 bits
    {31065037602817, false},  // 5 * 2^16 points of 14 bits
    {67685936516825089, true},  // 3 * 2^17 points of 12 bits
    {31065037602817, false},  // 3 * 2^17 points of 13 bits
    {100055579099137, false},  // 3 * 2^17 points of 14 bits
    {646730219521, true},  // 1 * 2^19 points of 11 bits
    {4485296422913, true},  // 1 * 2^19 points of 12 bits
    {646730219521, true},  // 1 * 2^19 points of 13 bits
    {201704079361, true},  // 1 * 2^19 points of 14 bits
    {3891941315948052481, true},  // 5 * 2^17 points of 12 bits
    {100055579099137, false},  // 5 * 2^17 points of 14 bits
    {1084521185281, false},  // 3 * 2^18 points of 12 bits
    {37906765673660417, true},  // 3 * 2^18 points of 13 bits
    {646730219521, false},  // 3 * 2^18 points of 14 bits
    {448203325441, true},  // 1 * 2^20 points of 12 bits
    {4485296422913, true},  // 1 * 2^20 points of 14 bits
    {108905103361, false},  // 5 * 2^18 points of 12 bits
    {13631489, false},  // 5 * 2^18 points of 13 bits
    {646730219521, false},  // 3 * 2^19 points of 11 bits
    {4485296422913, false},  // 3 * 2^19 points of 12 bits
    {646730219521, false},  // 3 * 2^19 points of 13 bits
    {4485296422913, true},  // 1 * 2^21 points of 11 bits
    {4485296422913, true},  // 1 * 2^21 points of 13 bits
    {4485296422913, false},  // 5 * 2^19 points of 12 bits
    {646730219521, false},  // 5 * 2^19 points of 13 bits
    {448203325441, false},  // 3 * 2^20 points of 12 bits
    {163577857, false},  // 3 * 2^20 points of 13 bits
    {0, false},  // 1 * 2^22 points of 12 bits
    {4485296422913, false},  // 5 * 2^20 points of 10 bits
    {149005816672813057, true},  // 5 * 2^20 points of 11 bits
    {448203325441, false},  // 5 * 2^20 points of 12 bits
    {4485296422913, false},  // 3 * 2^21 points of 11 bits
    {185773485904101377, false},  // 3 * 2^21 points of 12 bits
    {1825696645121, true},  // 1 * 2^23 points of 10 bits
    {246423748609, true},  // 1 * 2^23 points of 12 bits
};
// clang-format on
static_assert(std::size(kModuli) == 105);

std::vector<OddModulus> all_moduli() {
    std::vector<OddModulus> all;
    for (const Entry& entry : kModuli) all.emplace_back(entry.modulus);
    return all;
}

}  // namespace

const OddModulus& fft_modulus(const FftParameters& parameters) {
    static const std::vector<OddModulus> all = all_moduli();
    return all[fft_entry_for(parameters.capacity())];
}

bool fft_modulus_is_good(const FftParameters& parameters) {
    return kModuli[fft_entry_for(parameters.capacity())].good;
}

}  // namespace trel
