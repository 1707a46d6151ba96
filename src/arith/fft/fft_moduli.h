// Divisors of 2^capacity + 1, modulo which a product that wraps is still right.
#pragma once

#include "arith/fft/fft_parameters.h"
#include "arith/multiply/odd_residue.h"

namespace trel {

// The modulus of a record of the parameter table. None (false) where no divisor is known.
const OddModulus& fft_modulus(const FftParameters& parameters);
// Whether it finds errors in every branch of the transform; damaged operands and words it finds in any case.
bool fft_modulus_is_good(const FftParameters& parameters);

}  // namespace trel
