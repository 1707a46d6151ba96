// The list of multiplication algorithms. This is the only file that knows them all.
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

}  // namespace
}  // namespace trel
