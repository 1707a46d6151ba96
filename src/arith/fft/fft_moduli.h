// Divisors of 2^capacity + 1, modulo which a product that wraps is still right.
#pragma once

#include "arith/fft/fft_parameters.h"
#include "arith/multiply/odd_residue.h"

namespace trel {

// Of a record of the parameter table. None (false) where no divisor is known.
const OddModulus& fft_modulus(const FftParameters& parameters);

}  // namespace trel
