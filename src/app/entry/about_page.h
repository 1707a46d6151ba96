// The page that the action "about" shows.
#pragma once

namespace kalvor {

void print_about_page();

}  // namespace kalvor
