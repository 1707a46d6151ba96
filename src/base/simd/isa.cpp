#include "base/simd/isa.h"

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "os/cpu.h"
#include "os/environment.h"

namespace trel {
namespace {

constexpr bool bits(u64 value, u64 wanted) {
    return (value & wanted) == wanted;
}
constexpr u64 bit(unsigned i) {
    return u64(1) << i;
}

std::vector<Isa> detect() {
    const os::CpuidRegisters l1 = os::cpuid(1);
    const os::CpuidRegisters l7 = os::cpuid(7);
    const os::CpuidRegisters x1 = os::cpuid(0x80000001u);
    const u64 xcr0 = os::xcr0();

    // SSE3, SSSE3, FMA, CX16, SSE4.1, SSE4.2, MOVBE, POPCNT, AVX, F16C; LZCNT; BMI1, AVX2, BMI2; state of the
    // SSE and AVX registers.
    const bool avx2 = bits(l1.ecx, bit(0) | bit(9) | bit(12) | bit(13) | bit(19) | bit(20) | bit(22) |
                                       bit(23) | bit(28) | bit(29)) &&
                      bits(x1.ecx, bit(5)) && bits(l7.ebx, bit(3) | bit(5) | bit(8)) && bits(xcr0, 0x6);
    // AVX512 F, DQ, CD, BW, VL; ADX; state of the mask and 512-bit registers.
    const bool avx512 =
        avx2 && bits(l7.ebx, bit(16) | bit(17) | bit(28) | bit(30) | bit(31) | bit(19)) && bits(xcr0, 0xe6);

    std::vector<Isa> found;
    if (avx2 && is_built(Isa::avx2)) found.push_back(Isa::avx2);
    if (avx512 && is_built(Isa::avx512)) found.push_back(Isa::avx512);
    return found;
}

IsaChoice choice_of_the_user() {
    return choose_isa(os::environment_variable("KALVOR_ISA"), available_isas());
}

Isa decide() {
    const IsaChoice choice = choice_of_the_user();
    if (!choice.isa) {
        Console::print_problem(choice.error);
        Console::fatal_exit(1);
    }
    return *choice.isa;
}

}  // namespace

const char* isa_name(Isa isa) {
    return isa == Isa::avx512 ? "avx512" : "avx2";
}

const std::vector<Isa>& available_isas() {
    static const std::vector<Isa> isas = detect();
    return isas;
}

IsaChoice choose_isa(const std::optional<std::string>& value, const std::vector<Isa>& available) {
    if (!value || value->empty()) return {available.empty() ? Isa::avx2 : available.back(), ""};
    std::string accepted;
    for (const Isa isa : available) {
        if (*value == isa_name(isa)) return {isa, ""};
        accepted += (accepted.empty() ? "\"" : ", \"") + std::string(isa_name(isa)) + "\"";
    }
    const bool known = *value == "avx2" || *value == "avx512";
    return {std::nullopt, "KALVOR_ISA: \"" + *value + "\" is " +
                              (known ? "not available on this machine" : "not an instruction-set level") +
                              ". Accepted here: " + (accepted.empty() ? "nothing; unset it" : accepted) +
                              "."};
}

std::string isa_refusal() {
    return choice_of_the_user().error;
}

Isa active_isa() {
    static const Isa isa = decide();
    return isa;
}

}  // namespace trel
