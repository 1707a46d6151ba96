// The sweeps over the top of the tree and over its streams, and the table of kernels. fft_kernels.h describes
// the data.
#include "arith/fft/fft_kernels.h"

#include "arith/fft/fft_cut.h"
#include "arith/fft/fft_join.h"
#include "arith/fft/fft_passes.h"
#include "arith/fft/fft_tree.h"

namespace trel::TREL_ISA {
namespace {

constexpr u32 kMaxStep = 16;  // 128 KB of stack for 64 streams

// Data from this size on are written past the caches: they would have left them before they are read.
constexpr u64 kPastCaches = u64(1) << 22;

// The quad of the second radix below part q of the first.
TREL_INLINE const FftQuad* second_quad(const FftPlan& plan, u64 q, FftQuad* space) {
    return plan.a == 1 ? quad_of(plan, 0, plan.log_r0, q, space) : quad_of(plan, q, 0, 0, space);
}

template <bool real>
TREL_INLINE void first_radix(const FftPlan& plan, double* s, u64 n, const FftQuad* q) {
    const u64 stride = n * kBlock;
    switch (plan.r0) {
        case 1:
            return forward_pass<1, real>(s, stride, s, stride, n, q);
        case 3:
            return forward_pass<3, real>(s, stride, s, stride, n, q);
        case 4:
            return forward_pass<4, real>(s, stride, s, stride, n, q);
        case 5:
            return forward_pass<5, real>(s, stride, s, stride, n, q);
        default:
            return forward_pass<8, real>(s, stride, s, stride, n, q);
    }
}

void forward_top(const FftPlan& plan, double* data, const u8* operand, u64 bytes, u64 c0, u64 c1) {
    alignas(64) double streams[FftPlan::kMaxStreams * kMaxStep * kBlock];
    Cutter cut;
    set_cutter(cut, plan.b);
    Operand o;
    set_operand(o, operand, bytes);
    const u64 S = plan.streams(), columns = plan.columns(), step = plan.step;
    const u64 column_bytes_2 = plan.b * 2 / kBlocksPerGroup;  // bytes of two columns: an integer
    const u64 im_offset = S * columns * column_bytes_2 / 2;
    const bool real = bytes <= im_offset;
    const FftQuad* q0 = plan.twiddles.direct + 1;
    const u64 r1 = u64(1) << plan.log_r1;
    const bool past_caches = plan.log_r1 == 3 && S * columns * kBlock * sizeof(double) >= kPastCaches;
    for (u64 c = c0; c < c1; c += step) {
        for (u64 s = 0; s < S; s++) {
            const u64 offset = (s * columns + c) * column_bytes_2 / 2;
            double* out = streams + s * step * kBlock;
            cut_stream(cut, out, o, offset, step);
            if (!real) cut_stream(cut, out + L, o, im_offset + offset, step);
        }
        if (real) {
            first_radix<true>(plan, streams, r1 * step, q0);
        } else {
            first_radix<false>(plan, streams, r1 * step, q0);
        }
        FftQuad space;
        for (u64 q = 0; q < plan.r0; q++) {
            const FftQuad* quad = second_quad(plan, q, &space);
            const double* in = streams + q * r1 * step * kBlock;
            double* out = data + (q * r1 * columns + c) * kBlock;
            if (past_caches) {
                forward_pass<8, false, true>(in, step * kBlock, out, columns * kBlock, step, quad);
            } else if (plan.log_r1 == 3) {
                forward_pass<8, false>(in, step * kBlock, out, columns * kBlock, step, quad);
            } else {
                forward_pass<4, false>(in, step * kBlock, out, columns * kBlock, step, quad);
            }
        }
    }
    if (past_caches) _mm_sfence();
}

void forward_streams(const FftPlan& plan, double* data, u64 s0, u64 s1) {
    if (plan.log_columns == 0) return;
    const u64 size = plan.columns() * kBlock;
    for (u64 s = s0; s < s1; s++) {
        if (plan.a == 1) {
            forward_node(plan, data + s * size, 0, plan.log_r0 + plan.log_r1, s, plan.log_columns);
        } else {
            const u64 index = s & ((u64(1) << plan.log_r1) - 1);
            forward_node(plan, data + s * size, s >> plan.log_r1, plan.log_r1, index, plan.log_columns);
        }
    }
}

void inverse_streams(const FftPlan& plan, double* work, const double* x, const double* y, u64 s0, u64 s1) {
    const u64 size = plan.columns() * kBlock;
    const u64 r1 = u64(1) << plan.log_r1;
    if (plan.log_columns == 0) {
        for (u64 s = s0; s < s1; s += r1) {
            FftQuad space;
            const FftQuad* q = second_quad(plan, s >> plan.log_r1, &space);
            const u64 o = s * size;
            if (r1 == 8) {
                leaves<8>(work + o, x + o, y + o, q);
            } else {
                leaves<4>(work + o, x + o, y + o, q);
            }
        }
        return;
    }
    for (u64 s = s0; s < s1; s++) {
        const u64 o = s * size;
        if (plan.a == 1) {
            inverse_node(plan, work + o, x + o, y + o, 0, plan.log_r0 + plan.log_r1, s, plan.log_columns);
        } else {
            inverse_node(plan, work + o, x + o, y + o, s >> plan.log_r1, plan.log_r1, s & (r1 - 1),
                         plan.log_columns);
        }
    }
}

template <bool check>
TREL_INLINE void last_radix(const FftPlan& plan, double* s, u64 n, const FftQuad* q, double* worst) {
    const u64 stride = n * kBlock;
    switch (plan.r0) {
        case 1:
            return last_pass<1, check>(s, stride, n, q, plan.scale, worst);
        case 3:
            return last_pass<3, check>(s, stride, n, q, plan.scale, worst);
        case 4:
            return last_pass<4, check>(s, stride, n, q, plan.scale, worst);
        case 5:
            return last_pass<5, check>(s, stride, n, q, plan.scale, worst);
        default:
            return last_pass<8, check>(s, stride, n, q, plan.scale, worst);
    }
}

void inverse_top(const FftPlan& plan, const FftWindow& window, double* work, u64 c0, u64 c1, i64* carry_out,
                 double* worst) {
    alignas(64) double streams[FftPlan::kMaxStreams * kMaxStep * kBlock];
    alignas(64) u64 carry[2 * FftPlan::kMaxStreams];
    const u64 S = plan.streams(), columns = plan.columns(), step = plan.step;
    const u64 r1 = u64(1) << plan.log_r1;
    const u64 bias = kRounderBits >> plan.b;
    for (u64 s = 0; s < 2 * S; s++) carry[s] = bias;
    const JoinBlock join_these = kJoinBlock[plan.b];
    JoinJob job{&plan, &window, work, streams, c0, carry};
    for (u64 c = c0; c < c1; c += step) {
        FftQuad space;
        for (u64 q = 0; q < plan.r0; q++) {
            const FftQuad* quad = second_quad(plan, q, &space);
            const double* in = work + (q * r1 * columns + c) * kBlock;
            double* out = streams + q * r1 * step * kBlock;
            if (plan.log_r1 == 3) {
                inverse_pass<8>(in, columns * kBlock, out, step * kBlock, step, quad);
            } else {
                inverse_pass<4>(in, columns * kBlock, out, step * kBlock, step, quad);
            }
        }
        const FftQuad* q0 = plan.twiddles.direct + 1;
        if (__builtin_expect(worst != nullptr, 0)) {
            last_radix<true>(plan, streams, r1 * step, q0, worst);
        } else {
            last_radix<false>(plan, streams, r1 * step, q0, nullptr);
        }
        job.column = c;
        join_these(job);
    }
    for (u64 s = 0; s < 2 * S; s++) carry_out[s] = static_cast<i64>(carry[s] - bias);
}

}  // namespace

constinit const FftKernels fft_kernels{L,           kMaxLogRadix,    L == 8 ? 1 : 4,  kMaxStep,
                                       forward_top, forward_streams, inverse_streams, inverse_top};

}  // namespace trel::TREL_ISA
