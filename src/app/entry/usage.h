// How to call the program, shown when it is started without an action or "custom" without a constant.
#pragma once

namespace kalvor {

void print_usage();

}  // namespace kalvor
