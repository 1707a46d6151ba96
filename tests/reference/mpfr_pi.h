// Digits of Pi by MPFR: an algorithm and an arithmetic of its own (arithmetic-geometric mean on GMP).
#pragma once

#include <string>

namespace kalvor_test {

// "3." and the first n digits after the point, truncated.
std::string mpfr_pi_decimal(unsigned long n);
std::string mpfr_pi_hexadecimal(unsigned long n);

}  // namespace kalvor_test
