// A polynomial's zeros, each held by a region that contains no other.
//
// Regions have exact ends and are made smaller on demand. Any thread for const objects.
#pragma once

#include <memory>
#include <vector>

#include "base/names/names.h"
#include "base/status/warnings.h"
#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::Polynomials {

// Warnings for the user; the work goes on.
using Remarks = std::vector<Warnings::Line>;

// The only zero of `p` in [low, high], p square-free: either low = high is the zero, or p has different signs
// at the two ends.
struct RealZero {
    std::shared_ptr<const IntegerPolynomial> p;
    Dyadic low, high;
    u64 multiplicity = 1;

    // Halves the interval until it is no longer than `width`, or a point.
    void refine(const Dyadic& width);
    void halve();
};

struct Rectangle {
    Dyadic x0, x1, y0, y1;

    bool contains(const Rectangle& other) const {
        return x0 <= other.x0 && other.x1 <= x1 && y0 <= other.y0 && other.y1 <= y1;
    }
    bool touches(const Rectangle& other) const {
        return x0 <= other.x1 && other.x0 <= x1 && y0 <= other.y1 && other.y0 <= y1;
    }
};

// The only zero of p inside `box`, above the real axis. Its conjugate is another zero.
struct ComplexZero {
    std::shared_ptr<const IntegerPolynomial> p;
    Rectangle box;
    u64 multiplicity = 1;
    ComplexPoint near;  // where a refinement begins

    // Until both sides are no longer than `width`.
    void refine(const Dyadic& width);
};

struct Zeros {
    std::vector<RealZero> real;        // in order
    std::vector<ComplexZero> complex;  // one of each pair
};

// All real zeros of a square-free polynomial, in order, in disjoint intervals. Throws
// InvalidParametersException "Polynomial is zero." and AlgorithmFailedException "Sturm sequence returned
// inconsistent # of sign-flips.".
std::vector<RealZero> isolate_real_zeros(const IntegerPolynomial& p);
// All zeros of a square-free polynomial in disjoint regions. The rectangles lie above the real axis and do
// not reach it. A high degree is remarked on in `remarks` unless null. Throws also "The # of complex zeros
// is not even.".
Zeros isolate_zeros_square_free(const IntegerPolynomial& p, Remarks* remarks);
// All zeros of any polynomial but 0, with their multiplicities.
Zeros isolate_zeros(const IntegerPolynomial& p, Remarks* remarks);

// The number of zeros of p strictly inside. p is square-free and zero at no corner
// (InvalidParametersException).
u64 count_complex_zeros_inside(const IntegerPolynomial& p, const Rectangle& rectangle);
// (c - e) / 2 from the Cauchy index c around a rectangle, in half turns, and the zeros e on its edges, each
// of which takes half a turn. Throws AlgorithmFailedException.
u64 compute_inside_zeros(i64 c, u64 e);
// Half the zeros that are not real.
u64 complex_pairs(u64 degree, u64 real_zeros);

// A real zero as a decimal number with up to ten significant digits, trailing zeros after the point cut.
std::string isolating_value(RealZero zero);

}  // namespace kalvor::Polynomials
