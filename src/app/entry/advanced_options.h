// The menu of tools and pages for those who look behind the scenes.
#pragma once

#include "app/menus/action_menu.h"

namespace kalvor {

// Five entries; those that this version does not have throw NotAvailableException when they are chosen.
ActionMenu advanced_options_menu();

}  // namespace kalvor
