// The upper floors (constants, digits, app: namespace kalvor) use the names of the lower ones (os, base,
// platform, arith: namespace trel) as if they were their own. Where both have a name, kalvor's is meant.
#pragma once

namespace trel {}

namespace kalvor {
using namespace trel;
}
