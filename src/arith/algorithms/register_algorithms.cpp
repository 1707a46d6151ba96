// The list of multiplication algorithms. This is the only file that knows them all.
#include "arith/c17/c17_algorithm.h"
#include "arith/fft/fft_algorithm.h"
#include "arith/hnt/hnt.h"
#include "arith/intntt/integer_ntt.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/basecase_karatsuba.h"
#include "arith/ntt/ntt_records.h"

namespace trel {
namespace {

struct Names {
    const char *short_name, *long_name, *family, *variant;
};

// Puts an algorithm into the slots of both words; products of 32-bit words run on the algorithm of 64-bit
// words unless there is one for them. Convolutions of floating-point numbers and small products stay in
// memory; the number-theoretic transforms serve far memory too.
class Registration {
  public:
    Registration(const Names& names, u64 max_bits, const MultiplyAlgorithm& algorithm, bool far_memory,
                 const MultiplyAlgorithm32* algorithm32 = nullptr)
        : padded_(algorithm, max_bits) {
        AlgorithmEntry words64{&algorithm,   max_bits,      names.short_name, names.long_name,
                               names.family, names.variant, nullptr};
        AlgorithmEntry words32 = words64;
        words32.algorithm = nullptr;
        words32.algorithm32 = algorithm32 != nullptr ? algorithm32 : &padded_;
        register_algorithm(TableSlot::basic32, words32);
        register_algorithm(TableSlot::basic64, words64);
        if (!far_memory) return;
        register_algorithm(TableSlot::swap32, words32);
        register_algorithm(TableSlot::swap64, words64);
    }

  private:
    PaddedAlgorithm32 padded_;
};

const Registration basecase_karatsuba({"BKT", "Basecase/Karatsuba", "MULB", "Basic Multiply"},
                                      kBasecaseKaratsubaMaxBits, basecase_karatsuba_algorithm(), false,
                                      &basecase_karatsuba_algorithm32());

const Registration floating_point_fft({"FFT", "Floating-Point FFT", "FFTv3", "Short-Vector FMA"}, kFftMaxBits,
                                      fft_algorithm(), false);

const Registration code17({"C17", "Code 17 Experiment", "C17v1", "Code 17 Experiment"},
                          ntt_constants(NttFamily::c17).max_bits, c17_algorithm(), true);

const Registration ntt32({"N32", "32-bit NTT", "NTT32", "32-bit NTT"}, ntt_constants(NttFamily::n32).max_bits,
                         n32_algorithm(), true);

const Registration ntt64({"N64", "64-bit NTT", "NTT64", "64-bit NTT"}, ntt_constants(NttFamily::n64).max_bits,
                         n64_algorithm(), true);

const Registration hybrid_ntt({"HNT", "Hybrid NTT", "HNTs", "original"}, kHntMaxBits, hnt_algorithm(), true);

const Registration vst({"VST", "VST Algorithm", "VSTv2", "VST Algorithm"},
                       ntt_constants(NttFamily::vst).max_bits, vst_algorithm(), true);

}  // namespace
}  // namespace trel
