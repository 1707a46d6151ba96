#include "base/simd/vec_probe.h"
#include "base/simd/vec_register.h"

namespace trel::TREL_ISA {
namespace {

#define F64_OP(op, expression)                                                                  \
    {                                                                                           \
        op, [](double* r, const double* p, const double* q, const double* s) {                  \
            for (u32 i = 0; i < 8; i += L) {                                                    \
                [[maybe_unused]] const F64xL a = load(p + i), b = load(q + i), c = load(s + i); \
                store(r + i, expression);                                                       \
            }                                                                                   \
        }                                                                                       \
    }
#define U64_OP(op, expression)                                                 \
    {                                                                          \
        op, [](u64* r, const u64* p, const u64* q) {                           \
            for (u32 i = 0; i < 8; i += L) {                                   \
                [[maybe_unused]] const U64xL a = load(p + i), b = load(q + i); \
                store(r + i, expression);                                      \
            }                                                                  \
        }                                                                      \
    }

constexpr VecProbe::F64 kF64[] = {
    F64_OP("fma", fma(a, b, c)),
    F64_OP("fms", fms(a, b, c)),
    F64_OP("fnma", fnma(a, b, c)),
    F64_OP("fnms", fnms(a, b, c)),
    F64_OP("max", max(a, b)),
    F64_OP("round", round(a)),
    F64_OP("abs", abs(a)),
    F64_OP("zero", broadcast(0.0) + a * broadcast(0.0)),
    F64_OP("broadcast", a + broadcast(1.5)),
};
constexpr VecProbe::U64 kU64[] = {};

void move_up_by(int n, double* r, const double* p, const double* before) {
    const F64xL a = load(p), b = load(before);
    switch (n) {
        case 1:
            return store(r, move_up<1>(a, b));
        case 2:
            return store(r, move_up<2>(a, b));
        case 3:
            return store(r, move_up<3>(a, b));
    }
#if defined(TREL_ISA_avx512)
    switch (n) {
        case 4:
            return store(r, move_up<4>(a, b));
        case 5:
            return store(r, move_up<5>(a, b));
        case 6:
            return store(r, move_up<6>(a, b));
        case 7:
            return store(r, move_up<7>(a, b));
    }
#endif
}

}  // namespace

constinit const VecRegisterProbe vec_register_probe{
    L,
    kF64,
    sizeof kF64 / sizeof *kF64,
    kU64,
    sizeof kU64 / sizeof *kU64,
    move_up_by,
    [](double* r, const double* a) {
        stream(r, load(a));
        _mm_sfence();
    },
    [](double* matrix) {
        F64xL r[L];
        for (u32 i = 0; i < L; i++) r[i] = load(matrix + L * i);
        transpose(r);
        for (u32 i = 0; i < L; i++) store(matrix + L * i, r[i]);
    },
    [](u64* r, const double* a) { store(r, bits_of(load(a))); },
};

}  // namespace trel::TREL_ISA
