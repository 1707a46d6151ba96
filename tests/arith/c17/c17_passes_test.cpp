// The passes of the Code 17 transform against plain modular arithmetic, and their bounds against an interval
// model, on every instruction set.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "arith/c17/c17_plan.h"
#include "arith/c17/c17_tables.h"
#include "base/simd/isa.h"
#include "support/scratch.h"

namespace {

using namespace trel;
using u128 = unsigned __int128;

const C17PassKernels& kernels_of(Isa isa) {
    return TREL_TABLE(isa, c17_pass_kernels);
}

u64 mul_mod(u64 x, u64 y, u64 p) {
    return static_cast<u64>(u128(x) * y % p);
}
u64 power_mod(u64 x, u64 e, u64 p) {
    u64 r = 1;
    for (; e != 0; e >>= 1, x = mul_mod(x, x, p)) {
        if (e & 1) r = mul_mod(r, x, p);
    }
    return r;
}
u64 residue(double x, u64 p) {
    const i64 r = static_cast<i64>(x) % static_cast<i64>(p);
    return static_cast<u64>(r < 0 ? r + static_cast<i64>(p) : r);
}

// One residue row of a transform in the layout of a plan.
class Data {
  public:
    explicit Data(const C17Plan& plan) : plan_(plan), memory_(round_up_64(8 * plan.prime_stride)) {}
    double* row(u32 r) const { return static_cast<double*>(memory_.data()) + r * plan_.row_stride; }
    double& at(u64 point) const {
        const u64 m = plan_.row_points();
        return row(static_cast<u32>(point / m))[plan_.offset(point % m)];
    }
    bool guards_intact() const { return memory_.guards_intact(); }

  private:
    const C17Plan& plan_;
    Scratch memory_;
};

enum class Kind { random, extreme, constant, alternating };

class Transform {
  public:
    Transform(Isa isa, u32 a, u32 b, u32 c, u32 prime)
        : kernels(kernels_of(isa)),
          plan(make_c17_plan({static_cast<u8>(a), static_cast<u8>(b), static_cast<u8>(c), 0, 0, 0},
                             kernels.max_log_radix)),
          set(c17_set_tables(a, b)),
          prime(set.primes[prime]),
          p(set.set->primes[prime]) {}

    void fill(const Data& d, Kind kind, u64 seed, std::vector<u64>& values) const {
        std::mt19937_64 rng(seed);
        const double half = static_cast<double>(p / 2);
        values.resize(plan.points());
        for (u64 i = 0; i < values.size(); i++) {
            double x = half;
            if (kind == Kind::random) {
                x = static_cast<double>(rng() % p);
                if (x > half) x -= static_cast<double>(p);
            } else if (kind == Kind::extreme) {
                x = rng() % 2 == 0 ? half : -half;
            } else if (kind == Kind::alternating) {
                x = (i >> (seed % plan.c)) & 1 ? -half : half;
            }
            d.at(i) = x;
            values[i] = residue(x, p);
        }
    }
    void top(const Data& d) const {
        if (plan.b == 1) return;
        for_runs([&](u64 at, u64 n) {
            kernels.split(plan.b, prime, d.row(0) + at, plan.row_stride, d.row(0) + at, plan.row_stride, n,
                          nullptr);
        });
    }
    void bottom(const Data& d) const {
        if (plan.b == 1) return;
        for_runs([&](u64 at, u64 n) {
            kernels.join(plan.b, prime, d.row(0) + at, plan.row_stride, d.row(0) + at, plan.row_stride, n,
                         nullptr);
        });
    }
    void middle(C17Middle what, const Data& out, const Data& x, const Data& y) const {
        for (u32 r = 0; r < plan.rows(); r++) {
            kernels.middle(what, C17Part::whole, 0, 1, plan, prime, r, out.row(r), x.row(r), y.row(r));
        }
    }
    // The same in parts, as tasks that share a row would do it, last item first.
    void middle_in_parts(C17Middle what, u64 pass_items, const Data& out, const Data& x,
                         const Data& y) const {
        const u64 items[3] = {pass_items, plan.subtrees(), pass_items};
        const C17Part parts[3] = {C17Part::first_pass, C17Part::subtree, C17Part::last_pass};
        for (u32 k = 0; k < 3; k++) {
            for (u32 r = 0; r < plan.rows(); r++) {
                for (u64 i = items[k]; i-- > 0;) {
                    kernels.middle(what, parts[k], i, items[k], plan, prime, r, out.row(r), x.row(r),
                                   y.row(r));
                }
            }
        }
    }
    double largest(const Data& d) const {
        double largest = 0;
        for (u64 i = 0; i < plan.points(); i++) largest = std::max(largest, std::fabs(d.at(i)));
        return largest / static_cast<double>(p);
    }

    // The u of the leaf x^4 - u, one of whose coefficients stands at a place of a row, and which one.
    u64 leaf_of(u32 row, u64 place, u64* coefficient) const {
        const u64 in_tail = place % 64, vector = in_tail / 8, lane = in_tail % 8;
        *coefficient = vector % 4;
        return power_mod(root_of(row, (place & ~u64(63)) + 8 * lane + (vector & ~u64(3))), 4, p);
    }
    // The root that leaf number `leaf` of a row would have if the tree went down to degree 1.
    u64 root_of(u32 row, u64 leaf) const {
        const u64 k = leaf;  // below root `row`, depth c
        u64 v = residue(prime.zeta[1], p);
        u64 e = row;
        for (u32 u = 0; u < plan.c; u++) e = e % 2 == 0 ? e / 2 : (e + plan.b) / 2;
        v = power_mod(v, e, p);
        for (u32 l = 0; (k >> 1) >> l != 0; l++) {
            if ((k >> 1) >> l & 1) v = mul_mod(v, residue(prime.tables->forward.child[1][l], p), p);
        }
        return k & 1 ? p - v : v;
    }

    const C17PassKernels& kernels;
    C17Plan plan;
    const C17SetTables& set;
    const C17Prime& prime;
    u64 p;

  private:
    template <class F>
    void for_runs(F&& f) const {
        const u64 n = plan.columns();
        for (u64 j = 0; j < plan.row_points(); j += n) f(plan.offset(j), n);
    }
};

struct Shape {
    u32 a, b, c;
};

std::vector<Shape> shapes(u32 max_c) {
    std::vector<Shape> all;
    for (u32 b : {1, 3, 5, 7}) {
        for (u32 c = 8; c <= max_c; c++) all.push_back({7 + (c + b) % 5, b, c});
    }
    return all;
}

class C17PassesTest : public testing::TestWithParam<Isa> {};
std::string isa_of(const testing::TestParamInfo<Isa>& info) {
    return isa_name(info.param);
}
INSTANTIATE_TEST_SUITE_P(Levels, C17PassesTest, testing::ValuesIn(available_isas()), isa_of);

TEST(C17TablesTest, RootsAreWhatTheyShouldBe) {
    for (u32 a = 4; a <= 11; a++) {
        for (u32 b : {1, 3, 5, 7}) {
            const C17SetTables& set = c17_set_tables(a, b);
            for (u32 i = 0; i < a; i++) {
                const C17Prime& prime = set.primes[i];
                const u64 p = set.set->primes[i];
                const C17PrimeTables& t = *prime.tables;
                ASSERT_EQ(t.p, static_cast<double>(p));
                for (u32 u = 0; u + 2 <= set.set->max_exponent && u < C17PrimeTables::kDepths; u++) {
                    const u64 rho = residue(t.forward.child[1][u], p);
                    ASSERT_EQ(power_mod(rho, u64(1) << (u + 1), p), p - 1) << p << " level " << u;
                    ASSERT_EQ(mul_mod(rho, residue(t.inverse.child[1][u], p), p), 1u);
                    ASSERT_LE(std::fabs(t.forward.child[1][u]), t.p / 2);
                }
                const u32 depths = std::min<u32>(set.set->max_exponent - 1, C17PrimeTables::kDepths);
                for (const C17PrimeTables::Direction& d : {t.forward, t.inverse}) {
                    for (u64 k = 0; k < 16; k++) {
                        const u32 bits = static_cast<u32>(std::bit_width(k));
                        for (u32 u = 0; u < depths && u + bits <= depths; u++) {
                            u64 product = 1;
                            for (u32 l = 0; l < bits; l++) {
                                if ((k >> l & 1) == 0) continue;
                                product = mul_mod(product, residue(d.child[1][u + l], p), p);
                            }
                            ASSERT_EQ(residue(d.child[k][u], p), product) << p << ' ' << k << " level " << u;
                            if (u != 3) continue;
                            ASSERT_EQ(residue(d.stride8[k], p), product);
                        }
                    }
                }
                const u64 zeta = residue(prime.zeta[1], p);
                ASSERT_EQ(power_mod(zeta, b, p), 1u);
                ASSERT_EQ(zeta == 1, b == 1);
            }
        }
    }
}

// Values at places of every kind against the remainder by the polynomial that the tree should have there.
TEST_P(C17PassesTest, ForwardGivesRemainders) {
    for (const Shape& s : shapes(12)) {
        const Transform t(GetParam(), s.a, s.b, s.c, s.c % s.a);
        const Data d(t.plan);
        std::vector<u64> x;
        t.fill(d, s.c % 2 ? Kind::random : Kind::extreme, s.c, x);
        t.top(d);
        t.middle(C17Middle::forward, d, d, d);
        ASSERT_TRUE(d.guards_intact());
        std::mt19937_64 rng(s.c);
        for (int i = 0; i < 12; i++) {
            const u32 row = static_cast<u32>(rng() % t.plan.rows());
            const u64 place = i == 0 ? 0 : rng() % t.plan.row_points();
            u64 coefficient;
            const u64 u = t.leaf_of(row, place, &coefficient);
            u64 want = 0;
            for (u64 j = x.size() / 4; j-- > 0;)
                want = (mul_mod(want, u, t.p) + x[4 * j + coefficient]) % t.p;
            ASSERT_EQ(residue(d.row(row)[t.plan.offset(place)], t.p), want)
                << "b=" << s.b << " c=" << s.c << " row " << row << " place " << place;
        }
    }
}

// Products of polynomials in every way that the middle offers, against sums of products.
TEST_P(C17PassesTest, ProductsAreConvolutions) {
    for (const Shape& s : shapes(11)) {
        const Transform t(GetParam(), s.a, s.b, s.c, s.c % s.a);
        const u64 N = t.plan.points();
        for (int way = 0; way < 5; way++) {
            const Data dx(t.plan), dy(t.plan), dz(t.plan);
            std::vector<u64> x, y;
            t.fill(dx, way % 2 ? Kind::random : Kind::alternating, s.c + 1, x);
            t.fill(dy, way % 2 ? Kind::extreme : Kind::random, s.c + 2, y);
            t.top(dx);
            t.top(dy);
            const Data* out = &dx;
            if (way == 0) {
                t.middle(C17Middle::product, dx, dx, dy);
            } else if (way == 1) {
                t.middle(C17Middle::square, dx, dx, dx);
                y = x;
            } else if (way == 2) {
                t.middle(C17Middle::forward, dy, dy, dy);
                t.middle(C17Middle::held_product, dx, dx, dy);
            } else {
                t.middle(C17Middle::forward, dx, dx, dx);
                t.middle(C17Middle::forward, dy, dy, dy);
                out = &dz;
                if (way == 3) {
                    t.middle(C17Middle::inverse, dz, dx, dy);
                } else {
                    t.middle(C17Middle::inverse_square, dz, dx, dx);
                    y = x;
                }
            }
            t.bottom(*out);
            std::mt19937_64 rng(way);
            for (int i = 0; i < 6; i++) {
                const u64 k = i == 0 ? 0 : i == 1 ? N - 1 : rng() % N;
                u64 want = 0;
                for (u64 j = 0; j < N; j++) want = (want + mul_mod(x[j], y[(k + N - j) % N], t.p)) % t.p;
                // the inverse is not divided by its sums
                ASSERT_EQ(residue(out->at(k), t.p), mul_mod(want, (N >> kC17LeafLevels) % t.p, t.p))
                    << "b=" << s.b << " c=" << s.c << " way " << way << " point " << k;
            }
            ASSERT_TRUE(dx.guards_intact() && dy.guards_intact() && dz.guards_intact());
        }
    }
}

// Rows in parts give the same residues, bit for bit.
TEST_P(C17PassesTest, PartsOfARowMakeTheRow) {
    for (const u32 c : {11u, 13u, 15u}) {
        for (const u32 b : {1u, 3u}) {
            const Transform t(GetParam(), 9, b, c, 4);
            ASSERT_TRUE(t.plan.has_subtrees());
            for (const C17Middle what :
                 {C17Middle::forward, C17Middle::product, C17Middle::square, C17Middle::held_product,
                  C17Middle::inverse, C17Middle::inverse_square}) {
                for (u64 items = 1; items <= t.plan.max_pass_items(); items *= 4) {
                    const Data x(t.plan), y(t.plan), z(t.plan), x2(t.plan), y2(t.plan), z2(t.plan);
                    std::vector<u64> values;
                    for (const Data* d : {&x, &x2}) t.fill(*d, Kind::random, 1, values);
                    for (const Data* d : {&y, &y2}) t.fill(*d, Kind::random, 2, values);
                    const bool elsewhere = what == C17Middle::inverse || what == C17Middle::inverse_square;
                    const Data &out = elsewhere ? z : x, &out2 = elsewhere ? z2 : x2;
                    t.middle(what, out, x, what == C17Middle::inverse_square ? x : y);
                    t.middle_in_parts(what, items, out2, x2, what == C17Middle::inverse_square ? x2 : y2);
                    for (u64 i = 0; i < t.plan.points(); i++) {
                        ASSERT_EQ(out.at(i), out2.at(i)) << "b=" << b << " c=" << c << " what "
                                                         << static_cast<int>(what) << " items " << items;
                    }
                }
            }
        }
    }
}

}  // namespace
