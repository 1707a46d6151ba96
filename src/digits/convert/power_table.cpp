#include "digits/convert/power_table.h"

#include <algorithm>
#include <string>

#include "arith/m61/m61.h"
#include "arith/multiply/dispatch.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"

namespace kalvor::CBRv2 {

ConvertObserver::~ConvertObserver() = default;

void check_power_hash(Status& status, const char* function, u64 actual, u64 radix, u64 exponent) {
    const u64 expected = m61::canonical(m61::pow(m61::fold(radix), exponent));
    actual = m61::canonical(actual);
    if (expected == actual) return;
    status.Warning("Radix Conversion: Power Hash Mismatch");
    status.Status_Line("Expected: " + std::to_string(expected));
    status.Status_Line("Actual  : " + std::to_string(actual));
    throw AlgorithmFailedException(function, "Power Hash Mismatch");
}

void CheckP(const ReadyTableB& table, Status& status) {
    const ConvertPlanP& plan = table.plan();
    if (plan.radix < 2) throw InvalidParametersException("CheckP()", "Radix is less than 2.");
    StatusFrame frame(status, "Hashing Power...  ");
    for (u64 l = 0; l < plan.levels; l++) {
        const u64 hash =
            m61::mul_pow2_64(m61::hash_words(table[l].words, table[l].n), plan.level[l].power_exp);
        check_power_hash(frame.node(), "CheckP()", hash, plan.radix, plan.level[l].radix_words);
    }
}

// Level 0 is the plan's exact R^b; each further level is the square of the one before, taken from its ready
// transform (one inverse transform a level), and must have the exponent that the plan says.
void ReadyTableB::build_table(const MultiplyContext& context, AlignedBufferC memory, Status& status,
                              ConvertObserver* observer) {
    for (u64 l = 0; l < plan_.levels; l++) {
        const ConvertPlanP::Level& level = plan_.level[l];
        Entry& entry = entries_[l];
        Word* const words = carve_words(memory, level.number_words);
        i64 exp = 0;
        if (l == 0) {
            entry.n = plan_.base_power_words;
            std::copy_n(plan_.base_power.begin(), entry.n, words);
            exp = level.power_exp;
        } else {
            const Entry& root = entries_[l - 1];
            const Transform& transform = *root.transform;
            const u64 n = 2 * root.n;
            StatusFrame frame(status, "Squaring...    ", status_digits(n) + 1);
            frame.node().refresh();
            const auto [work, space] = TransformMemory(transform, context.scratch);
            transform.inverse(context.parallel, words, 0, n, work, root.data, root.data, space);
            exp = 2 * plan_.level[l - 1].power_exp;
            entry.n = n;
            while (entry.n > 0 && words[entry.n - 1] == 0) entry.n--;
            if (entry.n > 1 && words[0] == 0) {
                std::copy(words + 1, words + entry.n, words);
                entry.n--;
                exp++;
            }
        }
        entry.words = words;
        if (exp != level.power_exp || entry.n == 0 || entry.n > level.power_words) {
            throw AlgorithmFailedException("trel_CBRv2_ci_btrf_build_table()", "Mismatching exponents.");
        }
        // Before CheckP compares them. Transforms carry the residues of the others.
        if (l + 1 == plan_.levels) entry.carried = goldilocks::of_words(context.parallel, words, entry.n);
        if (observer != nullptr) observer->power_stored(l, words, entry.n);

        make_transform(entry.transform, level.held.product_words, context);
        if (l + 1 == plan_.levels) continue;
        entry.data = memory.spawn_words(level.transform_words).get();
        AlignedBufferC scratch = context.scratch;
        void* const space = scratch.spawn(entry.transform->scratch_bytes()).get();
        entry.transform->forward(context.parallel, entry.data, words, entry.n, space);
        if (observer != nullptr) observer->transform_stored(l, entry.data, entry.transform->data_bytes());
    }
}

void ReadyTableB::make_tables(const MultiplyContext& context, AlignedBufferC memory, Status& status,
                              ConvertObserver* observer) {
    build_table(context, memory, status, observer);
    CheckP(*this, status);
    if (observer == nullptr) return;
    for (u64 l = 0; l + 1 < plan_.levels; l++) {
        observer->table_ready(l, entries_[l].data, entries_[l].transform->data_bytes());
    }
}

}  // namespace kalvor::CBRv2
