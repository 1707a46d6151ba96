// GMP rationals in messages of failed comparisons.
#pragma once

#include <gmpxx.h>

#include <ostream>

inline void PrintTo(const mpq_class& q, std::ostream* out) {
    *out << q.get_str();
}
