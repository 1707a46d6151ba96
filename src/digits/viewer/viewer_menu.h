// The viewer's menus.
#pragma once

#include <memory>
#include <string>

#include "digits/files/basic_digit_reader.h"
#include "digits/viewer/viewer_console_run.h"

namespace kalvor::DigitViewer2 {

// Opens a digit file by its ending. Throws at "Menu_DigitViewer()" what open_digit_file() throws of its own,
// and what the readers throw.
std::unique_ptr<BasicDigitReader> open_for_viewing(const std::string& path);

// Asks for a file, shows its menu, does one action.
void Menu_DigitViewer(const ViewerRunner& runner = run_on_console);
// The menu of a file that is open, and one action.
void show_file_menu(BasicDigitReader& reader, const ViewerRunner& runner = run_on_console);

}  // namespace kalvor::DigitViewer2
