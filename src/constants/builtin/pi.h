// Pi and 1/Pi by the series of Chudnovsky (1988) and Ramanujan (1910).
#pragma once

#include <memory>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/status/status.h"

namespace kalvor {

enum class PiAlgorithm { chudnovsky = 0, ramanujan = 1, chudnovsky_reduced = 2, ramanujan_reduced = 3 };

// Everything a computation of Pi^power needs, made beforehand.
class PiPlan {
  public:
    // precision in words; power 1 or -1, else InvalidParametersException "Power must be 1 or -1."
    PiPlan(PiAlgorithm algorithm, int power, trel::u64 precision_words, trel::u64 tds);
    ~PiPlan();
    trel::u64 result_words() const;
    trel::u64 working_bytes() const;
    trel::u64 max_product_words() const;
    // What a run is announced with.
    const char* label() const;
    // The phases of a run, in seconds of one core.
    std::vector<trel::WorkPhase> work() const;
    // Blocks of the sum; those that are exact are checked by their residues.
    trel::u64 series_blocks() const;
    trel::u64 series_blocks_checked() const;

    struct Parts;
    const Parts& parts() const { return *parts_; }

  private:
    std::unique_ptr<Parts> parts_;
};

struct Pi_Series_BigFloatR {
    static void run(const PiPlan& plan, const trel::MultiplyContext& context, trel::Status& status,
                    trel::BigFloat& result);
};

}  // namespace kalvor
