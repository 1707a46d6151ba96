#include "arith/newton/log_agm.h"

#include <algorithm>
#include <limits>

#include "arith/multiply/product_needs.h"
#include "arith/newton/recursion.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

const char kRun[] = "Log_AGM_BigFloatR::run()";

constexpr u64 kLeastPrecision = 3;
// Words of the working precision beyond what is asked for: one because m ln 2 and the quotient are larger
// than their difference, one for what the steps of the mean round off.
constexpr u64 kGuardWords = 2;

bool is_one(const BigFloat& A) {
    return A.mag() == 1 && A.T[A.L - 1] == 1 &&
           std::all_of(A.T, A.T + A.L - 1, [](Word w) { return w == 0; });
}

}  // namespace

LogAgmPlan LogAgmPlan::make(u64 p, u64 tds) {
    LogAgmPlan plan;
    const u64 working = std::max(p, kLeastPrecision) + kGuardWords;
    plan.p = p;
    plan.tds = tds;
    plan.mean = AGMPlan::make(working, tds);
    plan.division = DivisionPlan::make(working, tds);
    plan.value_words = round_up_8(std::max({plan.mean.result, plan.division.result, working + 6}));
    plan.result = working + 6;
    plan.temporaries = 2 * plan.value_words;
    plan.products = plan.mean.needs().maximum(plan.division.needs());
    return plan;
}

void Log_AGM_BigFloatR::run(const LogAgmPlan& plan, const MultiplyContext& context, Status& status,
                            BigFloat& T, const BigFloat& x, const BigFloat& pi, const BigFloat& log2) {
    newton::check_plan(plan.p, plan.tds, plan.p, context.parallel.tds, kRun);
    if (x.L == 0) throw InvalidParametersException(kRun, "Log(0) is negative infinity.");
    if (!x.sign) throw InvalidParametersException(kRun, "Log of a negative number is complex.");
    status.Status_Line("Log(x) - AGM:");
    if (is_one(x)) {
        x.verify(context.parallel, "a logarithm's argument");
        return T.clear();
    }

    const ParallelContext& parallel = context.parallel;
    const u64 working = plan.mean.p;
    const newton::RunMemory memory(context, plan.temporaries);
    LinearWordBuffer words = memory.temporaries;
    BigFloat a = carve<BigFloat>(words, plan.value_words);
    BigFloat b = carve<BigFloat>(words, plan.value_words);

    // s = x 2^(64 d) has its top word about half the precision above the units.
    const i64 d = static_cast<i64>((working + 2) / 2) + 2 - x.mag();
    if (d > std::numeric_limits<i64>::max() / 64 || d < std::numeric_limits<i64>::min() / 64) {
        throw ExponentOverflowException(kRun, "", d, std::numeric_limits<i64>::max() / 64);
    }
    BigFloat s = x.kept(parallel, working + 2);
    s.move(d);
    {
        StatusSection section(status, "Scaling...");
        const newton::RunMemory own(memory.context, plan.division.temporaries);
        BigFloat& four = b;
        four.set_double(4.0, 0);
        Division_BigFloatR::run(plan.division, own.context, section.node(), a, four, s, own.temporaries);
    }
    agm1(plan.mean, memory.context, status, b, a);
    b.mul_uW(parallel, 2);
    {
        // The product of Pi and the mean's inverse, in one step.
        StatusSection section(status, "Large Multiply...");
        StatusFrame frame(section.node(), "Multiplying: ");
        const newton::RunMemory own(memory.context, plan.division.temporaries);
        Division_BigFloatR::run(plan.division, own.context, frame.node(), a, pi, b, own.temporaries);
    }
    const i64 m = d * 64;
    {
        StatusSection section(status, "log2");
        b.set_mul_uW(working, parallel, log2, m < 0 ? Word(0) - static_cast<Word>(m) : static_cast<Word>(m));
    }
    StatusSection section(status, "Finishing Log(x)...");
    StatusFrame frame(section.node(), "Adding: ");
    if (m < 0) {
        T.set_add(working, parallel, a, b);
    } else {
        T.set_sub(working, parallel, a, b);
    }
}

}  // namespace trel
