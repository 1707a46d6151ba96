// The operations of the vector types behind plain pointers, once per instruction set, so that a test can
// compare them with scalar code. Arrays hold 8 lanes (64 for transposes), any alignment unless the name says
// otherwise.
#pragma once

#include "os/types.h"

namespace trel {

struct VecProbe {
    // name -> result lanes from three operands
    struct F64 {
        const char* name;
        void (*run)(double* r, const double* a, const double* b, const double* c);
    };
    struct U64 {
        const char* name;
        void (*run)(u64* r, const u64* a, const u64* b);
    };
    struct Mask {
        const char* name;
        unsigned (*run)(const u64* a, const u64* b);
    };
    const F64* f64;
    int n_f64;
    const U64* words;
    int n_words;
    const Mask* masks;
    int n_masks;
    unsigned (*less_f64)(const double* a, const double* b);
    unsigned (*greater_f64)(const double* a, const double* b);
    unsigned (*first_lanes)(unsigned n);
    unsigned (*mask_bits)(unsigned bits);
    void (*select_f64)(double* r, unsigned bits, const double* a, const double* b);
    void (*select_u64)(u64* r, unsigned bits, const u64* a, const u64* b);
    void (*add_masked)(u64* r, unsigned bits, const u64* a, const u64* b);
    void (*add_masked_f64)(double* r, unsigned bits, const double* a, const double* b);
    void (*double_minus_masked)(double* r, unsigned bits, const double* a, const double* b);
    void (*with_sign)(double* r, const double* a, const double* b);
    void (*add_where_negative)(u64* r, const u64* a, const u64* b);
    void (*sub_masked)(u64* r, unsigned bits, const u64* a, const u64* b);
    void (*copy_masked_f64)(double* r, unsigned bits, const double* a);  // load_masked, store_masked
    void (*copy_masked_u64)(u64* r, unsigned bits, const u64* a);
    void (*load_masked_f64)(double* r, unsigned bits, const double* a);  // load_masked, store
    void (*load_masked_u64)(u64* r, unsigned bits, const u64* a);
    void (*aligned_copy_f64)(double* r, const double* a);  // load, store
    void (*aligned_copy_u64)(u64* r, const u64* a);
    void (*shift_left)(u64* r, const u64* a, unsigned n);
    void (*shift_right)(u64* r, const u64* a, unsigned n);
    void (*f64_of_52)(double* r, const u64* a);
    void (*u52_of_f64)(u64* r, const double* a);
    void (*i64_of_f64)(u64* r, const double* a);
    void (*permute_index)(double* r, u64* s, const double* a, const u64* b, const u64* index);
    void (*permute_fixed)(double* r, u64* s, const double* a, const u64* b);  // 5 0 7 2 1 4 3 6
    void (*transpose_f64)(double* matrix);
    void (*transpose_u64)(u64* matrix);
};

// The same for vec_register.h. The named operations take arrays of 8 lanes, the others `lanes`.
struct VecRegisterProbe {
    u32 lanes;
    const VecProbe::F64* f64;
    int n_f64;
    const VecProbe::U64* words;
    int n_words;
    void (*move_up)(int n, double* r, const double* a, const double* before);
    void (*stream)(double* r, const double* a);
    void (*transpose)(double* matrix);
    void (*bits_of)(u64* r, const double* a);
};

namespace avx2 {
extern const VecProbe vec_probe;
extern const VecRegisterProbe vec_register_probe;
}  // namespace avx2
namespace avx512 {
extern const VecProbe vec_probe;
extern const VecRegisterProbe vec_register_probe;
}  // namespace avx512

}  // namespace trel
