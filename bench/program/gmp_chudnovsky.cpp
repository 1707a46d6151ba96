// Plain binary splitting with recursion down to single terms joined in words, the square root by mpz_sqrt,
// one division, one conversion: what a good user of GMP writes in an afternoon.
#include "gmp_chudnovsky.h"

#include <gmp.h>

namespace {

constexpr double kDigitsPerTerm = 14.181647462725477;

struct Part {
    mpz_t p, q, t;
    Part() { mpz_inits(p, q, t, nullptr); }
    ~Part() { mpz_clears(p, q, t, nullptr); }
};

// Terms [a, b) of sum (-1)^k (6k)! (A + B k) / ((3k)! k!^3 640320^3k); p is not needed at the right edge.
void split(unsigned long a, unsigned long b, bool need_p, Part& r) {
    if (b - a == 1) {
        if (a == 0) {
            mpz_set_ui(r.p, 1);
            mpz_set_ui(r.q, 1);
        } else {
            mpz_set_ui(r.p, 6 * a - 5);
            mpz_mul_ui(r.p, r.p, 2 * a - 1);
            mpz_mul_ui(r.p, r.p, 6 * a - 1);
            mpz_set_ui(r.q, a);
            mpz_mul_ui(r.q, r.q, a);
            mpz_mul_ui(r.q, r.q, a);
            mpz_mul_ui(r.q, r.q, 10939058860032000UL);
        }
        mpz_set_ui(r.t, 545140134UL);
        mpz_mul_ui(r.t, r.t, a);
        mpz_add_ui(r.t, r.t, 13591409UL);
        mpz_mul(r.t, r.t, r.p);
        if (a % 2 != 0) mpz_neg(r.t, r.t);
        return;
    }
    const unsigned long m = a + (b - a) / 2;
    split(a, m, true, r);
    Part right;
    split(m, b, need_p, right);
    mpz_mul(r.t, r.t, right.q);
    mpz_mul(right.t, right.t, r.p);
    mpz_add(r.t, r.t, right.t);
    mpz_mul(r.q, r.q, right.q);
    if (need_p) mpz_mul(r.p, r.p, right.p);
}

}  // namespace

std::string gmp_pi(unsigned long digits) {
    const unsigned long guard = 16;
    Part sum;
    split(0, static_cast<unsigned long>(static_cast<double>(digits + guard) / kDigitsPerTerm) + 2, false,
          sum);
    // Pi = 426880 sqrt(10005) Q / T, scaled by 10^(digits + guard)
    mpz_t scale, root;
    mpz_inits(scale, root, nullptr);
    mpz_ui_pow_ui(scale, 10, digits + guard);
    mpz_mul(root, scale, scale);
    mpz_mul_ui(root, root, 10005);
    mpz_sqrt(root, root);
    mpz_mul(sum.q, sum.q, root);
    mpz_mul_ui(sum.q, sum.q, 426880);
    mpz_tdiv_q(sum.q, sum.q, sum.t);
    mpz_ui_pow_ui(scale, 10, guard);
    mpz_tdiv_q(sum.q, sum.q, scale);
    std::string text(mpz_sizeinbase(sum.q, 10) + 2, '\0');
    mpz_get_str(text.data(), 10, sum.q);
    text.resize(digits + 1);
    mpz_clears(scale, root, nullptr);
    return text;
}
