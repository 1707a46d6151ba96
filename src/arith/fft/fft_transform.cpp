#include "arith/fft/fft_transform.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>

#include "arith/fft/fft_moduli.h"
#include "arith/multiply/floating_point_control.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr u64 kMaxTasks = 32;
// Transforms of fewer points run on one task: a product starts tasks six times, and with a new thread for
// each of them two tasks lose at 2^16 points (0.71 against 0.49 ms) and win a factor of 1.7 to 1.9 from 2^19
// on.
constexpr u64 kParallelPoints = u64(1) << 17;

// Rounding errors stay below a quarter, whatever the operands. A fault that changes a coefficient of the
// spectrum by little comes out as a wave over coefficients that are a multiple of 192 bits apart, and where
// it is only a few units high its rounded values may add up to 0: then no sum of words shows it, but most of
// its values are not near an integer.
constexpr double kLargestDistance = 0.25;

constexpr u64 kLargeBytes = u64(1) << 20;
constexpr u64 kStepBytes = u64(1) << 14;

u32 log2_of(u32 power) {
    u32 r = 0;
    while (power >>= 1) r++;
    return r;
}

FftPlan make_plan(const FftKernels& kernels, const FftParameters& p) {
    FftPlan plan{};
    plan.a = p.a;
    plan.k = p.k;
    plan.b = p.b;
    plan.lanes = kernels.lanes;
    plan.log_blocks = p.k - 1 - log2_of(kernels.lanes);
    plan.scale = 1.0 / static_cast<double>(u64(p.a) << plan.log_blocks);
    struct Radices {
        u32 log_r0, log_r1;
    };
    constexpr Radices kChoices[] = {{3, 3}, {3, 2}, {2, 2}, {0, 3}, {0, 2}};
    const u32 min_left = log2_of(kernels.min_columns);
    for (const Radices& r : kChoices) {
        if (p.a != 1 && r.log_r0 != 0) continue;
        if (plan.log_blocks < r.log_r0 + r.log_r1) continue;
        const u32 left = plan.log_blocks - r.log_r0 - r.log_r1;
        if (left == 1 || left < min_left) continue;
        plan.log_r0 = r.log_r0;
        plan.log_r1 = r.log_r1;
        plan.log_columns = left;
        break;
    }
    plan.r0 = p.a == 1 ? 1u << plan.log_r0 : p.a;
    // Small data: the streams of a step take half of the first cache. Large data: long runs in memory matter
    // more, down to half the time of a sweep at 2^21 points against steps of 4.
    plan.step = kernels.max_step;
    if (p.points() * sizeof(double) < kLargeBytes) {
        plan.step = static_cast<u32>(kStepBytes / (plan.streams() * kernels.lanes * 2 * sizeof(double)));
        plan.step = std::clamp(std::bit_floor(plan.step), 2u, kernels.max_step / 4);
    }
    plan.step = static_cast<u32>(std::min<u64>(plan.columns(), plan.step));
    return plan;
}

// Adds to eight bytes; returns the carry out of the signed addition, -1 to 1.
i64 add_to_word(u8* bytes, i64 carry) {
    u64 word;
    std::memcpy(&word, bytes, 8);
    const u64 sum = word + static_cast<u64>(carry);
    std::memcpy(bytes, &sum, 8);
    return (sum < word) - (carry < 0);
}

// Adds a carry at a byte of the product: into the window, or below it into the slots where the low bytes are
// kept. Returns what leaves the window's top.
i64 add_carry(const FftPlan& plan, const FftWindow& w, double* work, u64 position, i64 carry) {
    while (carry != 0 && position < w.hi) {
        if (position >= w.lo && position + 8 <= w.hi) {
            carry = add_to_word(w.base + position, carry);
            position += 8;
            continue;
        }
        u8* byte = w.base + position;
        if (position < w.lo) {
            const u64 group = position / plan.b;
            const u64 groups = plan.streams() * plan.columns() * plan.lanes / 8;
            const u64 part = group >= groups;
            const u64 offset = position % plan.b;
            byte = reinterpret_cast<u8*>(work + (group - part * groups) * 16 + part * 8) + offset;
            if (offset + 8 <= plan.b && position + 8 <= w.lo) {
                carry = add_to_word(byte, carry);
                position += 8;
                continue;
            }
        }
        carry += *byte;
        *byte = static_cast<u8>(carry);
        carry >>= 8;
        position++;
    }
    return carry;
}

}  // namespace

const FftKernels& fft_kernels(Isa isa) {
    return TREL_TABLE(isa, fft_kernels);
}

const FftKernels& fft_kernels() {
    static const FftKernels& chosen = fft_kernels(active_isa());
    return chosen;
}

FftTransform::FftTransform(const FftKernels& kernels, const FftParameters& parameters,
                           const FftSharedTables* tables)
    : Transform(Windows::whole, parameters.capacity(), parameters.points() * sizeof(double), 0, 0, 3),
      kernels_(&kernels),
      modulus_(&fft_modulus(parameters)),
      plan_(make_plan(kernels, parameters)) {
    u64 stride = fft_hi_stride(parameters.k);
    const FftQuad* hi = nullptr;
    if (stride != 0) {
        if (tables != nullptr) hi = tables->find(parameters.a, parameters.k, stride);
        if (hi == nullptr) {
            stride = fft_hi_stride(parameters.k);
            own_ = std::make_unique<FftQuad[]>(parameters.a * stride);
            fft_fill_hi(own_.get(), parameters.a, stride, serial_context());
            hi = own_.get();
        }
    }
    plan_.twiddles = fft_twiddles(parameters.a, hi, stride);
}

u64 FftTransform::n_tasks(const ParallelContext& parallel) const {
    if (parallel.tds < 2 || (u64(plan_.a) << plan_.k) < kParallelPoints) return 1;
    return std::min({parallel.tds, kMaxTasks, plan_.columns() / plan_.step, u64(plan_.streams())});
}

// The parts [0, n) of a phase, each a task. Points and coefficients are right only on threads that round to
// nearest, and nothing else would notice: so every part looks.
template <class F>
void FftTransform::in_parts(const ParallelContext& parallel, u64 n, F&& part) const {
    std::atomic<bool> right{true};
    const auto checked = [&](u64 t) {
        part(t);
        if (!floating_point_control_is_right()) right.store(false, std::memory_order_relaxed);
    };
    if (n < 2) {
        checked(0);
    } else {
        parallel_for(parallel, n, checked);
    }
    if (right.load(std::memory_order_relaxed)) return;
    parallel.warn({{kFloatingPointControlCorrupted}});
    // No coefficient can be trusted: the bound of them all.
    const u64 bound = (u64(plan_.a) << plan_.k) << (2 * plan_.b);
    throw WronglyRounded("FFT", "Coefficient is too large.", bound, bound);
}

void FftTransform::do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                              void*) const {
    double* const out = static_cast<double*>(data);
    const u8* const operand = reinterpret_cast<const u8*>(A);
    const u64 n = n_tasks(parallel), streams = plan_.streams(), steps = plan_.columns() / plan_.step;
    in_parts(parallel, n, [&](u64 t) {
        kernels_->forward_top(plan_, out, operand, 8 * L, steps * t / n * plan_.step,
                              steps * (t + 1) / n * plan_.step);
    });
    parallel.stage("pass", out, streams * plan_.columns() * plan_.lanes * 2 * sizeof(double));
    in_parts(parallel, n,
             [&](u64 t) { kernels_->forward_streams(plan_, out, streams * t / n, streams * (t + 1) / n); });
}

i64 FftTransform::inverse_points(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                                 const void* X, const void* Y) const {
    double* const out = static_cast<double*>(work);
    const double* const x = static_cast<const double*>(X);
    const double* const y = static_cast<const double*>(Y);
    const u64 n = n_tasks(parallel), streams = plan_.streams();
    in_parts(parallel, n, [&](u64 t) {
        kernels_->inverse_streams(plan_, out, x, y, streams * t / n, streams * (t + 1) / n);
    });
    parallel.stage("coefficients", out, plan_.streams() * plan_.columns() * plan_.lanes * 2 * sizeof(double));
    return finish(parallel, T, skip, total, out, nullptr);
}

void FftTransform::do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                              const void* X, const void* Y, void*, ProductRest* rest) const {
    const i64 above = inverse_points(parallel, T, skip, total, work, X, Y);
    if (rest != nullptr) rest->above = above;
}

i64 FftTransform::unchecked_all(const ParallelContext& parallel, Word* T, const Word* A, u64 LA,
                                const Word* B, u64 LB, void* x, void* y) const {
    do_forward(parallel, x, A, LA, nullptr);
    if (B == nullptr) return inverse_points(parallel, T, 0, convolution_words(), x, x, x);
    do_forward(parallel, y, B, LB, nullptr);
    return inverse_points(parallel, T, 0, convolution_words(), x, x, y);
}

double FftTransform::inverse_error(Word* T, u64 skip, u64 total, void* work, const void* X,
                                   const void* Y) const {
    double worst = 0;
    kernels_->inverse_streams(plan_, static_cast<double*>(work), static_cast<const double*>(X),
                              static_cast<const double*>(Y), 0, plan_.streams());
    finish(serial_context(), T, skip, total, static_cast<double*>(work), &worst);
    return worst;
}

i64 FftTransform::finish(const ParallelContext& parallel, Word* T, u64 skip, u64 total, double* work,
                         double* worst) const {
    check_length("FFT", total);
    const FftWindow window{reinterpret_cast<u8*>(T) - 8 * skip, 8 * skip, 8 * total};
    const u64 n = n_tasks(parallel), steps = plan_.columns() / plan_.step, points = 2 * plan_.streams();
    i64 carries[2 * FftPlan::kMaxStreams];
    double distance[kMaxTasks] = {};  // of a coefficient from an integer, the largest of each task
    const auto check_distances = [&] {
        const double largest = *std::max_element(distance, distance + n);
        if (worst != nullptr) *worst = std::max(*worst, largest);
        if (largest <= kLargestDistance) return;
        throw ConvolutionFailedException("FFT", "Coefficient is not an integer.",
                                         static_cast<u64>(kLargestDistance * 1000),
                                         static_cast<u64>(largest * 1000));
    };
    const u64 stream_bits = convolution_bits_ / points;
    const auto resolve = [&](const i64* carry, u64 end_step) {
        u64 end_bits = end_step == steps ? stream_bits : stream_bits / steps * end_step;
        i64 out = 0;
        for (u64 s = 0; s < points; s++, end_bits += stream_bits) {
            out += add_carry(plan_, window, work, end_bits / 8, carry[s]);
        }
        return out;
    };
    if (n < 2) {
        in_parts(parallel, 1, [&](u64) {
            kernels_->inverse_top(plan_, window, work, 0, plan_.columns(), carries, distance);
        });
        check_distances();
        return resolve(carries, steps);
    }
    // every task leaves its carries behind; they are added when all words stand
    i64 all[kMaxTasks][2 * FftPlan::kMaxStreams];
    in_parts(parallel, n, [&](u64 t) {
        kernels_->inverse_top(plan_, window, work, steps * t / n * plan_.step,
                              steps * (t + 1) / n * plan_.step, all[t], distance + t);
    });
    check_distances();
    i64 out = 0;
    for (u64 t = 0; t < n; t++) out += resolve(all[t], steps * (t + 1) / n);
    return out;
}

bool FftTransform::compatible(const Transform& other) const {
    const auto* f = dynamic_cast<const FftTransform*>(&other);
    return f != nullptr && f->kernels_ == kernels_ && f->plan_.a == plan_.a && f->plan_.k == plan_.k &&
           f->plan_.b == plan_.b;
}

}  // namespace trel
