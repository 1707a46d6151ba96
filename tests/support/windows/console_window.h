// A piece of a test program on a console window of its own, which is shown nowhere.
#pragma once

#include <string>
#include <vector>

namespace kalvor_test {

struct ConsoleRun {
    int exit_code = -1;  // of the piece
    // What stands in the window at the end, in UTF-8: its lines without the blanks behind them, up to the last
    // one with text. Where the colour of the text changes its attribute stands in braces: "white {12}red".
    std::string screen;
    int columns = 0, rows = 0;  // of the window at the end
};

// Runs the piece (see support/child.h) with its standard input and output on the window. `keys` are typed in
// at once: characters, "\r" for Enter. The working folder is this process's, unless one is given.
ConsoleRun run_on_console(const std::string& child, const std::string& keys = "",
                          const std::string& folder = "");

}  // namespace kalvor_test
