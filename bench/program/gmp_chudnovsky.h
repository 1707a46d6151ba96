// The yardstick: Pi with GMP alone, binary splitting of Chudnovsky's series plus mpz_get_str, one thread.
#pragma once

#include <string>

// The decimal digits "31415..." of Pi: one digit before the point and `digits` after it.
std::string gmp_pi(unsigned long digits);
