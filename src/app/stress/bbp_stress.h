// The test that sums terms of the extractor.
#pragma once

#include "app/stress/stress_test.h"

namespace kalvor {

// A fixed range of terms, by the arithmetics of modes A and B in turn; the sum is compared with the one that
// mode C gave when the worker was made. Needs none of the worker's memory.
const StressTest& bbp_stress();

}  // namespace kalvor
