// The counterpart of an evaluator for values on far memory (disks): what its plan must answer. Nothing makes
// one yet; how one runs is settled when numbers on far memory exist.
#pragma once

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// Bytes.
struct FarNeeds {
    u64 minimum_memory = 0;      // with less of it the computation cannot run
    u64 disk_peak = 0;           // most that is in use on far memory at a time
    u64 bytes_moved = 0;         // read and written in all
    u64 largest_checkpoint = 0;  // that a run saves
};

class FarEvaluator {
  public:
    FarEvaluator() = default;
    virtual ~FarEvaluator();
    FarEvaluator(const FarEvaluator&) = delete;
    FarEvaluator& operator=(const FarEvaluator&) = delete;

    virtual const FarNeeds& needs() const = 0;
};

}  // namespace kalvor
