// How to call the program, shown for "custom" without a constant and by the main menu's entry for it.
#pragma once

namespace kalvor {

void print_usage();

}  // namespace kalvor
