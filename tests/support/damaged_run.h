// A run of an evaluator during which numbers are changed, in memory of exactly the planned size.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/evaluator/evaluator.h"
#include "support/scratch.h"
#include "support/threads.h"

namespace kalvor_test {

struct DamagedRun {
    std::vector<trel::Word> value;  // where the run did not fail
    std::string error;
    std::vector<trel::u64> hashes;  // of a range that failed its check twice
    trel::u64 corrected = 0;
};

inline DamagedRun run_damaged(const kalvor::Evaluator& evaluator, trel::ComputationStages& stages) {
    Scratch result(trel::round_up_8(evaluator.needs().result_words) * sizeof(trel::Word)),
        working(evaluator.needs().bytes);
    trel::RunMonitor monitor;
    monitor.stages = &stages;
    trel::BigFloat x(result.words(), evaluator.needs().result_words);
    DamagedRun run;
    try {
        evaluator.run({{thread_framework(), 1, &monitor}, working.view(), nullptr}, trel::null_status(), x);
        run.value.assign(x.T, x.T + x.L);
    } catch (const trel::BSRModularCheckFailedException& e) {
        run.error = e.message;
        run.hashes.assign(e.hashes.begin(), e.hashes.end());
        EXPECT_LT(e.a, e.b);
    } catch (const trel::StringException& e) {
        run.error = e.message;
    } catch (const trel::Exception& e) {
        run.error = e.get_typename();
    }
    run.corrected = monitor.checks.corrected;
    EXPECT_TRUE(result.guards_intact() && working.guards_intact());
    return run;
}

}  // namespace kalvor_test
