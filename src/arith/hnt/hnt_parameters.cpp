#include "arith/hnt/hnt_parameters.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

#include "base/errors/exceptions.h"

namespace trel {
namespace {

struct Row {
    u32 k;
    std::initializer_list<u32> m;
};

std::vector<HntParameters> by_capacity(std::vector<HntParameters> list) {
    std::sort(list.begin(), list.end(), [](const HntParameters& x, const HntParameters& y) {
        return x.capacity_bits() < y.capacity_bits();
    });
    return list;
}

std::vector<HntParameters> make_list_a() {
    std::vector<HntParameters> list;
    // clang-format off
    for (const Row& row : std::initializer_list<Row>{
        {4, {32, 64, 96, 128, 160, 256, 92160}},
        {5, {48, 64, 128}},
        {6, {16, 24, 32, 64, 128, 160}},
        {7, {8, 12, 16, 32, 40, 44, 48, 64, 72, 80}},
        {8, {4, 6, 8, 10, 12, 16, 18, 20, 22, 24, 32, 34, 36, 40, 42, 44, 48, 50, 52, 64, 66, 72, 74,
             80, 82, 96, 104}},
        {9, {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 32, 34, 36, 40, 42, 44, 48, 50, 52, 56, 64,
             66, 72, 74, 80, 82, 96, 98, 104, 128, 136}},
        {10, {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 32, 34, 36, 40, 42, 44, 48, 50, 52,
             56, 64, 66, 68, 72, 74, 80, 82, 96, 98, 104, 106, 128, 136, 144, 160}},
        {11, {2, 4, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 32, 34, 36, 38, 40, 42, 44, 48, 50, 52,
             56, 64, 66, 68, 72, 74, 76, 80, 82, 96, 98, 104, 106, 128, 136, 144, 160, 168}},
        {12, {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 32, 34, 36, 38, 40, 42, 44, 48, 50,
             52, 56, 58, 64, 66, 68, 72, 74, 76, 80, 82, 84, 96, 98, 104, 106, 112, 128, 130, 136, 138,
             144, 160, 168, 176, 192}},
        {13, {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 32, 34, 36, 38, 40, 42, 44, 46, 48,
             50, 52, 56, 58, 64, 66, 68, 72, 74, 76, 80, 82, 84, 104, 130}},
        {14, {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 32, 34, 36, 38, 42, 44, 46, 50, 52,
             58, 66, 68, 74, 82, 98, 112, 130, 162}},
        {15, {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30, 34, 36, 38, 44, 46, 50, 52, 54,
             60, 64, 70}},
        {16, {2, 4, 6, 8, 10, 12, 14, 16, 20}},
    }) {
        for (const u32 m : row.m) list.push_back({row.k, m});
    }
    // clang-format on
    return by_capacity(std::move(list));
}

// All m below 16 but 12, less what is too short for k = 8, too long for k = 22, and an 8 that saves nothing
// in long transforms.
std::vector<HntParameters> make_list_b() {
    std::vector<HntParameters> list;
    for (u32 k = 8; k <= 22; k++) {
        for (const u32 m : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15}) {
            if (k == 8 && (m % 2 == 1)) continue;
            if (k >= 19 && m == 8) continue;
            if (k == 22 && m != 1 && m != 2 && m != 3 && m != 5) continue;
            list.push_back({k, m});
        }
    }
    return by_capacity(std::move(list));
}

}  // namespace

std::span<const HntParameters> hnt_list_a() {
    static const std::vector<HntParameters> list = make_list_a();
    return list;
}

std::span<const HntParameters> hnt_list_b() {
    static const std::vector<HntParameters> list = make_list_b();
    return list;
}

const HntParameters& find_hnt_parameters(u64 bits) {
    for (const std::span<const HntParameters> list : {hnt_list_a(), hnt_list_b()}) {
        const auto found =
            std::lower_bound(list.begin(), list.end(), bits,
                             [](const HntParameters& p, u64 n) { return p.capacity_bits() < n; });
        if (found != list.end()) return *found;
    }
    throw LimitExceededException("HNT", "Product is too large.", hnt_list_b().back().capacity_bits(), bits);
}

}  // namespace trel
