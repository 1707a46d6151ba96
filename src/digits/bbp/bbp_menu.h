// The extractor's menu.
#pragma once

#include "digits/bbp/bbp_session.h"

namespace kalvor::BBPv2 {

// Shows the settings and changes them until "0" starts the computation; returns after it. Throws
// EndOfStreamException at the end of the input.
void run_bbp_menu(BBPSettings settings = {});

}  // namespace kalvor::BBPv2
