// The bounds of c17_bounds.md: a model of the passes on intervals, for every plan in use, and the kernels on
// the worst operands against it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "arith/c17/c17_plan.h"
#include "arith/c17/c17_tables.h"
#include "base/simd/isa.h"
#include "support/scratch.h"

namespace {

using namespace trel;

// Bounds in units of p for p just below 2^48.
constexpr double kTwiddle = 0.5168, kLimit = 15.4, kHalf = 0.50001;

// Bounds of a column of 2^n vectors through the passes; every argument of a product is checked.
class Model {
  public:
    double product(double x, double w = kTwiddle) {
        largest_argument = std::max(largest_argument, x * w / kTwiddle);
        return 0.5 + x * w / 16 * 1.0001;
    }
    void forward(std::vector<double>& v, bool root, bool reducing) {
        const int R = static_cast<int>(v.size());
        if (reducing) std::fill_n(v.begin(), R / 2, kHalf);
        for (int h = R / 2; h >= 1; h /= 2) {
            for (int i = 0; i < R / (2 * h); i++) {
                for (int q = 0; q < h; q++) {
                    double &x = v[2 * h * i + q], &y = v[2 * h * i + q + h];
                    x = y = x + (root && i == 0 ? y : product(y));
                    largest_sum = std::max(largest_sum, x);
                }
            }
        }
        if (root) std::fill_n(v.begin(), (R + 3) / 4, kHalf);
    }
    void inverse(std::vector<double>& v, bool root) {
        const int R = static_cast<int>(v.size());
        for (int h = 1; h < R; h *= 2) {
            for (int i = 0; i < R / (2 * h); i++) {
                for (int q = 0; q < h; q++) {
                    double &x = v[2 * h * i + q], &y = v[2 * h * i + q + h];
                    const double sum = x + y;
                    x = sum;
                    y = root && i == 0 ? sum : product(sum);
                    largest_sum = std::max(largest_sum, sum);
                }
            }
            if (R == 16 && h == 2) {
                for (int i = 0; i < 16; i += 4) v[i] = kHalf;
                if (root) std::fill_n(v.begin(), 4, kHalf);
            }
        }
        std::fill_n(v.begin(), root ? R : (R + 3) / 4, kHalf);
    }
    // A coefficient of a product modulo x^4 - u: four products of a reduced residue and one of bound B; the
    // quotient is rounded to a multiple of 4.
    double leaf(double B) {
        product(B);
        const double sum = 4 * kHalf * B;
        largest_leaf_sum = std::max(largest_leaf_sum, sum);
        return 2 + sum / 16 * 1.0001;
    }
    // One level back, whose sums are reduced at once.
    double last_level(double B) {
        largest_sum = std::max(largest_sum, 2 * B);
        return std::max(kHalf, product(2 * B));
    }
    double largest_argument = 0, largest_sum = 0, largest_leaf_sum = 0;
};

double largest(const std::vector<double>& v) {
    return *std::max_element(v.begin(), v.end());
}

// After the radix-b pass, row 0 or any other.
double after_split(Model& m, u32 b, bool row0) {
    const double x = 0.5001;
    if (b == 1) return x;
    if (row0 || b == 7) {
        if (b == 7) m.product(2 * x);
        return kHalf;
    }
    if (b == 3) return 2 * x + m.product(2 * x);
    return x + m.product(4 * x) + m.product(4 * x) + m.product(4 * x) +
           std::max(m.product(2 * x), m.product(2 * x));
}

struct Bounds {
    double forward, inverse, argument, sum, joined, leaf_sum;
};

Bounds bounds_of(const C17Plan& plan, bool row0) {
    Model m;
    std::vector<u32> radices;
    std::vector<bool> reduces;
    for (u32 i = 0; i < plan.n_passes; i++) {
        radices.push_back(plan.passes[i].log_radix);
        reduces.push_back(plan.passes[i].reduce);
    }
    Bounds r{};
    double B = after_split(m, plan.b, row0);
    for (u64 i = 0; i < radices.size(); i++) {
        std::vector<double> v(u64(1) << radices[i], B);
        m.forward(v, row0 && i == 0, !(row0 && i == 0) && reduces[i]);
        B = largest(v);
    }
    for (const u64 points : {8, 2}) {
        std::vector<double> v(points, B);
        m.forward(v, false, false);
        B = largest(v);
    }
    r.forward = B;
    B = m.last_level(m.leaf(B));
    std::vector<double> tail(8, B);
    m.inverse(tail, false);
    B = largest(tail);
    for (u64 i = radices.size(); i-- > 0;) {
        std::vector<double> v(u64(1) << radices[i], B);
        m.inverse(v, row0 && i == 0);
        B = largest(v);
    }
    r.inverse = B;
    if (plan.b == 3) r.joined = 2 * B + m.product(2 * B);
    if (plan.b == 5) r.joined = B + 2 * m.product(4 * B) + m.product(4 * B) + m.product(2 * B);
    if (plan.b == 7) r.joined = B + 6 * m.product(2 * B);
    r.joined = std::max(r.joined, B);
    r.argument = m.largest_argument;
    r.sum = std::max(m.largest_sum, plan.b * B);
    r.leaf_sum = m.largest_leaf_sum;
    return r;
}

TEST(C17BoundsTest, EveryPlanStaysInside) {
    for (u32 max_log_radix : {2, 3, 4}) {
        for (u8 b : {1, 3, 5, 7}) {
            for (u8 c = 8; c <= 40; c++) {
                const C17Plan plan = make_c17_plan({10, b, c, 0, 0, 0}, max_log_radix);
                for (bool row0 : {true, false}) {
                    const Bounds r = bounds_of(plan, row0);
                    EXPECT_LE(r.argument, kLimit) << "b " << int(b) << " c " << int(c) << " row0 " << row0;
                    EXPECT_LE(r.forward, 15.9) << "b " << int(b) << " c " << int(c);
                    EXPECT_LE(r.inverse, 1.4) << "b " << int(b) << " c " << int(c);
                    EXPECT_LT(r.sum, 32) << "b " << int(b) << " c " << int(c);
                    EXPECT_LT(r.leaf_sum, 31.5) << "b " << int(b) << " c " << int(c);
                    EXPECT_LT(r.joined, 8) << "b " << int(b) << " c " << int(c);
                }
            }
        }
    }
}

// The model is not vacuous: one level more without a reduction would leave the limit.
TEST(C17BoundsTest, ModelSeesAMissingReduction) {
    C17Plan plan = make_c17_plan({10, 5, 30, 0, 0, 0}, 4);
    for (u32 i = 0; i < plan.n_passes; i++) plan.passes[i].reduce = false;
    EXPECT_GT(bounds_of(plan, false).argument, kLimit);
    EXPECT_GT(bounds_of(plan, false).leaf_sum, 32);
}

class C17KernelBoundsTest : public testing::TestWithParam<Isa> {};
INSTANTIATE_TEST_SUITE_P(Levels, C17KernelBoundsTest, testing::ValuesIn(available_isas()),
                         [](const auto& info) { return std::string(isa_name(info.param)); });

// Rows of extreme residues through the middle of long rows: what is stored stays within the model's bounds,
// and far enough above a random row's that the operands are bad ones.
TEST_P(C17KernelBoundsTest, KernelsStayInsideTheModel) {
    const C17PassKernels& kernels = TREL_TABLE(GetParam(), c17_pass_kernels);
    for (u8 c : {9, 13, 16, 18}) {
        for (u8 b : {1, 3, 5}) {
            const C17Plan plan = make_c17_plan({11, b, c, 0, 0, 0}, kernels.max_log_radix);
            const C17SetTables& set = c17_set_tables(11, b);
            const C17Prime& prime = set.primes[0];  // the largest
            const double p = prime.tables->p;
            const u32 row = plan.rows() - 1;
            const Bounds bounds = bounds_of(plan, row == 0);
            const double start = std::floor((b == 5 ? 2.7 : b == 3 ? 1.5 : 0.5) * p);
            Scratch memory(round_up_64(8 * plan.row_stride));
            double* const x = static_cast<double*>(memory.data());
            double worst = 0;
            for (u32 kind = 0; kind < 4; kind++) {
                std::mt19937_64 rng(kind);
                const auto fill = [&](double size) {
                    for (u64 i = 0; i < plan.row_points(); i++) {
                        const bool minus = kind == 0   ? rng() % 2
                                           : kind == 1 ? false
                                           : kind == 2 ? i % 2
                                                       : (i * 64 / plan.row_points()) % 2;
                        x[plan.offset(i)] = minus ? -size : size;
                    }
                };
                const auto measure = [&] {
                    double most = 0;
                    for (u64 i = 0; i < plan.row_points(); i++)
                        most = std::max(most, std::fabs(x[plan.offset(i)]));
                    return most / p;
                };
                fill(start);
                kernels.middle(C17Middle::forward, C17Part::whole, 0, 1, plan, prime, row, x, x, x);
                worst = std::max(worst, measure());
                EXPECT_LE(measure(), bounds.forward);
                fill(start);
                kernels.middle(C17Middle::square, C17Part::whole, 0, 1, plan, prime, row, x, x, x);
                EXPECT_LE(measure(), bounds.inverse);
            }
            EXPECT_GT(worst, b == 1 ? 1.5 : 2.5) << "b " << int(b) << " c " << int(c);
        }
    }
}

}  // namespace
