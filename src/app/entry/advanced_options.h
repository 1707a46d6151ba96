// The menu of tools and pages for those who look behind the scenes.
#pragma once

#include "app/menus/action_menu.h"

namespace kalvor {

// The entries that this version has.
ActionMenu advanced_options_menu();

}  // namespace kalvor
