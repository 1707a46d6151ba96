#include "constants/polynomials/sturm_sequence.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"

namespace kalvor::Polynomials {

SturmSequence SturmSequence::generate(const IntegerPolynomial& p) {
    return generate(p, p.derivative());
}

SturmSequence SturmSequence::generate(const IntegerPolynomial& p0, const IntegerPolynomial& p1) {
    if (p0.is_zero()) {
        throw InvalidParametersException("SturmSequence::generate()", "Polynomial is zero.");
    }
    std::vector<IntegerPolynomial> list = {p0.primitive()};
    IntegerPolynomial next = p1.primitive();
    while (!next.is_zero()) {
        list.push_back(std::move(next));
        // The pseudo-remainder is the remainder times a positive number.
        next = -IntegerPolynomial::divmod(list[list.size() - 2], list.back()).remainder.primitive();
    }
    return SturmSequence(std::move(list));
}

u64 SturmSequence::sign_changes(const Dyadic& x) const {
    u64 changes = 0;
    int last_sign = 0;
    for (const IntegerPolynomial& p : polynomials_) {
        const int sign = p.evaluate(x).sign();
        if (sign == 0) continue;
        if (last_sign == -sign) changes++;
        last_sign = sign;
    }
    return changes;
}

u64 SturmSequence::zeros(const Dyadic& a, const Dyadic& b) const {
    return zeros(sign_changes(a), sign_changes(b), "SturmSequence::zeros()");
}

u64 SturmSequence::zeros(u64 changes_a, u64 changes_b, const char* function) {
    if (changes_a < changes_b) {
        throw AlgorithmFailedException(function, "Sturm sequence returned inconsistent # of sign-flips.");
    }
    return changes_a - changes_b;
}

}  // namespace kalvor::Polynomials
