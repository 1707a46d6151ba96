// The list of multiplication algorithms. This is the only file that knows them all.
#include "arith/fft/fft_algorithm.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/basecase_karatsuba.h"

namespace trel {
namespace {

struct Registration {
    Registration(TableSlot slot, const AlgorithmEntry& entry) { register_algorithm(slot, entry); }
};

const Registration basecase_karatsuba(TableSlot::basic64,
                                      {&basecase_karatsuba_algorithm(), kBasecaseKaratsubaMaxBits, "BKT",
                                       "Basecase/Karatsuba", "MULB", "Basic Multiply"});

const Registration floating_point_fft(TableSlot::basic64,
                                      {&fft_algorithm(), kFftMaxBits, "FFT", "Floating-Point FFT", "FFTv3",
                                       "Short-Vector FMA"});

}  // namespace
}  // namespace trel
