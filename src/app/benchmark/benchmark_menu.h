// The menu "Benchmark Pi".
#pragma once

#include "app/benchmark/benchmark_sizes.h"
#include "app/session/authorization_token.h"
#include "base/names/names.h"
#include "os/memory_status.h"

namespace kalvor {

// What the menu asks the machine. A reading and no calls: its memory is that of the moment when it was made.
struct BenchmarkMachine {
    u64 processors;  // logical ones that may be used
    os::MemoryStatus memory;

    static BenchmarkMachine of_this_machine();
};

// Asks for the kind and the size, and runs it. Throws what the run throws, and EndOfStreamException when
// the input ends.
bool run_benchmark_menu(const AuthorizationToken& token,
                        const BenchmarkSizes& sizes = BenchmarkSizes::usual(),
                        const BenchmarkMachine& machine = BenchmarkMachine::of_this_machine());

}  // namespace kalvor
