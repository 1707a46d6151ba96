#include "arith/fft/fft_tables.h"

#include <algorithm>
#include <cmath>

namespace trel {
namespace {

using Real = long double;
constexpr Real kPi = 3.14159265358979323846264338327950288L;
constexpr u32 kLogLow = FftTwiddles::kLogLow;

// sum of bit t of n times 2^-(t+1)
Real reversed(u64 n) {
    Real r = 0, weight = 0.5L;
    for (; n != 0; n >>= 1, weight *= 0.5L) {
        if (n & 1) r += weight;
    }
    return r;
}

void set_root(FftQuad& quad, u32 i, Real turns) {
    quad.re[i] = static_cast<double>(std::cos(kPi * turns));
    quad.im[i] = static_cast<double>(std::sin(kPi * turns));
}

// e^(pi i phi), its square root, its fourth root, and that times e^(pi i extra)
void set_quad(FftQuad& quad, Real phi, Real extra) {
    set_root(quad, 0, phi);
    set_root(quad, 1, phi / 2);
    set_root(quad, 2, phi / 4);
    set_root(quad, 3, phi / 4 + extra);
}

// Turn of root q of x^a = i.
Real root_turn(u32 a, u32 q) {
    return Real(4 * q + 1) / Real(4 * a);
}

// Slot of a in tables with one row for a = 1, three for 3, five for 5.
constexpr u32 first_root(u32 a) {
    return a == 1 ? 0 : a == 3 ? 1 : 4;
}
constexpr u32 slot_of(u32 a) {
    return a / 2;
}
constexpr u32 kOdd[3] = {1, 3, 5};

u32 log2_floor(u64 n) {
    u32 r = 0;
    while (n >>= 1) r++;
    return r;
}

struct Common {
    FftQuad direct[9 * FftTwiddles::kDirect];
    FftQuad low[FftTwiddles::kLow];

    Common() {
        for (u32 a : kOdd) {
            for (u32 q = 0; q < a; q++) {
                FftQuad* row = direct + (first_root(a) + q) * FftTwiddles::kDirect;
                row[0] = {};
                for (u64 n = 1; n < FftTwiddles::kDirect; n++) {
                    const u32 depth = log2_floor(n);
                    const Real phi = std::ldexp(root_turn(a, q), -static_cast<int>(depth)) +
                                     reversed(n - (u64(1) << depth));
                    set_quad(row[n], phi, 0.25L);
                }
            }
        }
        for (u64 n = 0; n < FftTwiddles::kLow; n++) set_quad(low[n], reversed(n), 0.25L);
    }
};

const Common& common() {
    static const Common tables;
    return tables;
}

// Strides of the high tables that products of up to `words` words need.
void strides(u64 words, u64 out[3]) {
    out[0] = out[1] = out[2] = 0;
    const auto table = fft_parameter_table();
    const u64 last = std::min<u64>(words, table.back().capacity() / 64) * 64;
    for (u64 i = 0; i <= fft_entry_for(last); i++) {
        u64& stride = out[slot_of(table[i].a)];
        stride = std::max(stride, fft_hi_stride(table[i].k));
    }
}

}  // namespace

u64 fft_hi_stride(u32 k) {
    // blocks of four values at the least, the last radix at least four: quads down to depth k - 1 - 2 - 2
    const u32 deepest = k - 5;
    return deepest < kLogLow ? 0 : u64(2) << (deepest - kLogLow);
}

void fft_fill_hi(FftQuad* out, u32 a, u64 stride, const ParallelContext& parallel) {
    const u64 parts = a * stride / 64;
    const auto fill = [&](u64 begin, u64 end) {
        for (u64 i = begin; i < end; i++) {
            const u32 q = static_cast<u32>(i / stride);
            const u64 n = i % stride;
            if (n == 0) {
                out[i] = {};
                continue;
            }
            const u32 depth = log2_floor(n);
            const Real phi =
                std::ldexp(root_turn(a, q), -static_cast<int>(depth)) + reversed(n - (u64(1) << depth));
            set_quad(out[i], std::ldexp(phi, -static_cast<int>(kLogLow)), 0);
        }
    };
    if (parts < 2 || parallel.tds < 2) return fill(0, a * stride);
    const u64 n_tasks = std::min(parts, parallel.tds);
    parallel_for(parallel, n_tasks,
                 [&](u64 task) { fill(a * stride * task / n_tasks, a * stride * (task + 1) / n_tasks); });
}

FftTwiddles fft_twiddles(u32 a, const FftQuad* hi, u64 hi_stride) {
    const Common& c = common();
    return {c.direct + first_root(a) * FftTwiddles::kDirect, hi, c.low, hi_stride};
}

u64 FftSharedTables::bytes(u64 words) {
    u64 stride[3];
    strides(words, stride);
    return (stride[0] + 3 * stride[1] + 5 * stride[2]) * sizeof(FftQuad);
}

FftSharedTables::FftSharedTables(u64 words, AlignedBufferC memory, const ParallelContext& parallel) {
    strides(words, stride_);
    common();
    for (u32 a : kOdd) {
        const u64 stride = stride_[slot_of(a)];
        if (stride == 0) continue;
        FftQuad* table = static_cast<FftQuad*>(memory.spawn(a * stride * sizeof(FftQuad)).get());
        fft_fill_hi(table, a, stride, parallel);
        hi_[slot_of(a)] = table;
    }
}

const FftQuad* FftSharedTables::find(u32 a, u32 k, u64& stride) const {
    stride = stride_[slot_of(a)];
    return stride >= fft_hi_stride(k) ? hi_[slot_of(a)] : nullptr;
}

}  // namespace trel
