#include "arith/ntt/c17_transform.h"

#include <algorithm>

#include "arith/ntt/ntt_check.h"

namespace trel {

static_assert(sizeof(C17Transform) <= 192);

C17Transform::C17Transform(const C17Setup& setup, NttFamily family)
    : Transform(setup.capacity_bits, setup.sizes.data_bytes, setup.sizes.scratch_bytes,
                setup.sizes.plain_bytes()),
      setup_(&setup),
      family_(family) {}

void C17Transform::check_length(u64 words) const {
    check_ntt_length(family_, convolution_bits_, words);
}
void C17Transform::check_excess(u64 excess) const {
    // with a wrong rounding mode no bound of the arithmetic holds, whatever the excess looks like
    if (!floating_point_control_is_right()) excess = std::max(excess, ntt_excess_bound(setup_->record));
    check_ntt_coefficients(family_, setup_->record, excess);
}

void C17Transform::forward(const ParallelContext& P, void* data, const Word* A, u64 L, void* scratch) const {
    check_length(L);
    C17Product(*setup_, P, scratch).forward(static_cast<double*>(data), A, L);
}

void C17Transform::inverse(const ParallelContext& P, Word* T, u64 skip, u64 total, void* work, const void* X,
                           const void* Y, void* scratch) const {
    check_length(total);
    C17Window window(setup_->plan.a, T, skip, total);
    check_excess(C17Product(*setup_, P, scratch)
                     .inverse(window, static_cast<double*>(work), static_cast<const double*>(X),
                              static_cast<const double*>(Y), true));
}

void C17Transform::multiply_plain(const ParallelContext& P, Word* T, u64 skip, u64 total, const Word* A,
                                  u64 LA, const Word* B, u64 LB, void* memory) const {
    check_length(LA);
    check_length(LB);
    check_length(total);
    u8* const data = static_cast<u8*>(memory);
    u8* const second = data + data_bytes_;
    u8* const scratch = second + setup_->sizes.second_bytes;
    C17Window window(setup_->plan.a, T, skip, total);
    check_excess(C17Product(*setup_, P, scratch)
                     .multiply_plain(window, reinterpret_cast<double*>(data),
                                     reinterpret_cast<double*>(second), A, LA, B, LB));
}

void C17Transform::square_plain(const ParallelContext& P, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                                void* memory) const {
    check_length(L);
    check_length(total);
    C17Window window(setup_->plan.a, T, skip, total);
    check_excess(C17Product(*setup_, P, static_cast<u8*>(memory) + data_bytes_)
                     .square_plain(window, static_cast<double*>(memory), A, L));
}

void C17Transform::multiply_held(const ParallelContext& P, Word* T, u64 skip, u64 total, const Word* A,
                                 u64 LA, const void* Y, void* work, void* scratch) const {
    check_length(LA);
    check_length(total);
    C17Window window(setup_->plan.a, T, skip, total);
    check_excess(
        C17Product(*setup_, P, scratch)
            .multiply_held(window, static_cast<double*>(work), A, LA, static_cast<const double*>(Y)));
}

bool C17Transform::compatible(const Transform& other) const {
    const auto* t = dynamic_cast<const C17Transform*>(&other);
    return t != nullptr && t->setup_ == setup_;
}

}  // namespace trel
