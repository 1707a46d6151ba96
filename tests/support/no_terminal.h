// A test reads nothing from the terminal that it was started in: it would wait for somebody's keys, or eat
// them.
#pragma once

namespace kalvor_test {

// Makes the null device this process's standard input if that is a terminal.
void leave_the_terminal();

}  // namespace kalvor_test
