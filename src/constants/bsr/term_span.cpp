#include "constants/bsr/term_span.h"

#include <string>

#include "base/errors/exceptions.h"

namespace kalvor::BinarySplitting {
namespace {

std::string text(const TermSpan& terms) {
    return std::to_string(terms.begin + 1) + " to " + std::to_string(terms.end);
}

[[noreturn]] void refuse(const std::string& what) {
    throw AlgorithmFailedException("BSR_BlockB::run()",
                                   "Terms of the series were lost or taken twice: " + what + ".");
}

}  // namespace

TermSpan joined(const ParallelContext& parallel, const TermSpan& left, const TermSpan& right) {
    if (left.end != right.begin) refuse(text(left) + " were merged with " + text(right));
    TermSpan both{left.begin, right.end};
    parallel.stage("terms", &both, sizeof(both));
    return both;
}

void check_terms(const TermSpan& found, u64 a, u64 b) {
    if (found != TermSpan{a, b}) refuse(text(found) + " stand for " + text({a, b}));
}

}  // namespace kalvor::BinarySplitting
