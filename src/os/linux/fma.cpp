#include "os/fma.h"

#include <cmath>

namespace trel::os {

double fma(double a, double b, double c) noexcept {
    return std::fma(a, b, c);
}

}  // namespace trel::os
