#include "arith/c17/c17_plan.h"

#include <algorithm>
#include <string>

#include "base/errors/fatal.h"

namespace trel {
namespace {

constexpr u32 kLogTail = 6;     // levels done in registers at the end of the tree
constexpr u32 kMinLogUnit = 9;  // 4 KB: what a pass reads together must not be this far apart
constexpr u32 kMaxLogColumns = 9;
constexpr u64 kAheadPoints = 1 << 15;
constexpr u64 kCachedBytes = 1 << 20;  // transforms up to here stay in the second cache
constexpr u64 kSweepBytes = 1 << 19;   // of a sweep's buffer, inside the second cache

bool in_range(u32 hint, u32 low, u32 high) {
    return hint == 0 || (low <= hint && hint <= high);
}

void check(const NttRecord& r) {
    if (in_range(r.d, 5, 8) && in_range(r.e, 3, 11) && in_range(r.f, 6, 11) && r.a >= 7 && r.a <= 11 &&
        r.b % 2 == 1 && r.b <= 7 && r.c >= kLogTail + 2 && r.c <= C17PrimeTables::kDepths) {
        return;
    }
    std::string detail;
    for (const u32 x : {r.a, r.b, r.c, r.d, r.e, r.f}) detail += std::to_string(x) + " ";
    assertion_failure(kInvalidParameters, "make_c17_plan()", detail);
}

}  // namespace

C17Plan make_c17_plan(const NttRecord& r, u32 max_log_radix) {
    check(r);
    C17Plan plan{};
    plan.a = r.a;
    plan.b = r.b;
    plan.c = r.c;

    // radices of the middle: as few passes as possible, as equal as possible, the larger ones last
    const u32 levels = plan.c - kLogTail;
    plan.n_passes = (levels + max_log_radix - 1) / max_log_radix;
    u32 done = 0;  // levels since the last reduction
    for (u32 i = 0; i < plan.n_passes; i++) {
        const u32 log_radix = (levels + i) / plan.n_passes;
        const bool reduce = done + log_radix + kLogTail > kC17MaxLevels;
        done = (reduce ? 0 : done) + log_radix;
        plan.passes[i] = {static_cast<u8>(log_radix), reduce};
    }

    // units end where a pass ends
    plan.log_unit = kLogTail;
    for (u32 i = plan.n_passes; i-- > 0 && plan.log_unit < kMinLogUnit;)
        plan.log_unit += plan.passes[i].log_radix;
    plan.row_stride = plan.offset(plan.row_points() - 1) + 1 + 8;
    plan.prime_stride = plan.rows() * plan.row_stride + 8;

    // prefetch the next row, if the second cache has room for it beside this row and the other operand's
    if (8 * plan.a * plan.prime_stride > kCachedBytes && plan.row_points() <= kAheadPoints) {
        plan.ahead = plan.row_stride;
    }

    const u32 wanted = r.f != 0 ? std::min(r.f + 2u, kMaxLogColumns) : kMaxLogColumns;
    plan.log_columns = std::min(wanted, plan.log_unit);
    while (plan.log_columns > 6 && (u64(plan.a) * plan.rows() << plan.log_columns) * 8 > kSweepBytes) {
        plan.log_columns--;
    }
    // The buffers of this number of tasks should take no more than an eighth of a transform. With 512 columns
    // a task needs up to seven times the memory that it needs with 64, for the same time within 2 % (2^14 to
    // 2^18 words).
    constexpr u64 kTasksInAnEighth = 32;
    constexpr u32 kEnoughLogColumns = 7;
    while (plan.log_columns > kEnoughLogColumns &&
           (8 * kTasksInAnEighth * plan.rows() << plan.log_columns) > plan.prime_stride) {
        plan.log_columns--;
    }
    return plan;
}

}  // namespace trel
