#include "arith/c17/c17_transform.h"

#include "arith/ntt/ntt_check.h"

namespace trel {

C17Transform::C17Transform(const C17Setup& setup, NttFamily family)
    : Transform(Windows::accounted, setup.capacity_bits, setup.sizes.data_bytes, setup.sizes.scratch_bytes,
                setup.sizes.plain_bytes() + kLabelBytes),
      setup_(&setup),
      family_(family) {
    check_vector_family("C17Transform::C17Transform()", family);
}

const char* C17Transform::name() const {
    return ntt_constants(family_).short_name;
}
void C17Transform::check(const C17Product& product) const {
    check_rounding(product.parallel(), name(), product.rounded_right(), ntt_excess_bound(setup_->record),
                   product.excess());
    check_ntt_coefficients(product.parallel(), family_, setup_->record, product.excess());
}

template <class Run>
void C17Transform::accounted(C17Product& product, ProductRest* rest, Run&& run) const {
    if (rest == nullptr) {
        run();
        return check(product);
    }
    C17Rest left_out;
    product.account_to(&left_out);
    run();
    check(product);
    rest->ring.add(left_out.total(setup_->constants));
}

void C17Transform::do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                              void* scratch) const {
    C17Product product(*setup_, parallel, scratch);
    product.forward(static_cast<double*>(data), A, L);
    check(product);
}

void C17Transform::do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                              const void* X, const void* Y, void* scratch, ProductRest* rest) const {
    check_length(name(), total);
    C17Window window(setup_->plan.a, T, skip, total);
    C17Product product(*setup_, parallel, scratch);
    accounted(product, rest, [&] {
        product.inverse(window, static_cast<double*>(work), static_cast<const double*>(X),
                        static_cast<const double*>(Y), true);
    });
}

void C17Transform::do_multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                     const Word* A, u64 LA, const Word* B, u64 LB, void* memory,
                                     ProductRest* rest) const {
    check_length(name(), total);
    u8* const data = static_cast<u8*>(memory);
    u8* const second = data + setup_->sizes.data_bytes;
    u8* const scratch = second + setup_->sizes.second_bytes;
    C17Window window(setup_->plan.a, T, skip, total);
    C17Product product(*setup_, parallel, scratch);
    accounted(product, rest, [&] {
        product.multiply_plain(window, reinterpret_cast<double*>(data), reinterpret_cast<double*>(second), A,
                               LA, B, LB);
    });
}

void C17Transform::do_square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                   const Word* A, u64 L, void* memory, ProductRest* rest) const {
    check_length(name(), total);
    C17Window window(setup_->plan.a, T, skip, total);
    C17Product product(*setup_, parallel, static_cast<u8*>(memory) + data_bytes_);
    accounted(product, rest, [&] { product.square_plain(window, static_cast<double*>(memory), A, L); });
}

void C17Transform::do_multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                    const Word* A, u64 LA, const void* Y, void* work, void* scratch,
                                    ProductRest* rest) const {
    check_length(name(), total);
    C17Window window(setup_->plan.a, T, skip, total);
    C17Product product(*setup_, parallel, scratch);
    accounted(product, rest, [&] {
        product.multiply_held(window, static_cast<double*>(work), A, LA, static_cast<const double*>(Y));
    });
}

bool C17Transform::compatible(const Transform& other) const {
    const auto* t = dynamic_cast<const C17Transform*>(&other);
    return t != nullptr && t->setup_ == setup_;
}

}  // namespace trel
