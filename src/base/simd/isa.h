// The instruction-set levels that kernels are compiled for, and the one in use.
//
// A kernel file x.isa.cpp is compiled once per level inside the namespace trel::<level> and defines a
// constinit table of function pointers there; x.cpp chooses between the tables with active_isa().
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace trel {

enum class Isa { avx2 = 0, avx512 = 1 };

// "avx2", "avx512"
const char* isa_name(Isa isa);

// The table called `name` of a level. In a build with the kernels of one level only (KALVOR_LEVELS in
// cmake/KalvorRooms.cmake) it is that one's whatever `isa` is; the other is never available there.
#if defined(TREL_ONLY_avx2)
#define TREL_TABLE(isa, name) (static_cast<void>(isa), ::trel::avx2::name)
#elif defined(TREL_ONLY_avx512)
#define TREL_TABLE(isa, name) (static_cast<void>(isa), ::trel::avx512::name)
#else
#define TREL_TABLE(isa, name) ((isa) == ::trel::Isa::avx512 ? ::trel::avx512::name : ::trel::avx2::name)
#endif
constexpr bool is_built([[maybe_unused]] Isa isa) {
#if defined(TREL_ONLY_avx2)
    return isa == Isa::avx2;
#elif defined(TREL_ONLY_avx512)
    return isa == Isa::avx512;
#else
    return true;
#endif
}

// The levels in this build that this processor and operating system can run, lowest first. May be empty on a
// processor without AVX2; active_isa() is avx2 even then (the start-up check has warned).
const std::vector<Isa>& available_isas();

// The level in use: the highest available one, or the one that the environment variable KALVOR_ISA names.
// Decided on first use; afterwards one load. Any thread. A value that isa_refusal() refuses ends the process
// with exit code 1 here.
Isa active_isa();
// What is wrong with the value of KALVOR_ISA and what is accepted; empty when it can be used. For the start
// of a program.
std::string isa_refusal();

// The rule behind active_isa(), for a given value of the variable (empty optional: not set; an empty value
// counts as not set).
struct IsaChoice {
    std::optional<Isa> isa;  // empty: refused
    std::string error;       // what was refused and what is accepted
};
IsaChoice choose_isa(const std::optional<std::string>& value, const std::vector<Isa>& available);

}  // namespace trel
