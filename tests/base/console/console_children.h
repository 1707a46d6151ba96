// What tests of the standard output and input run in a process of its own, on a terminal or with both
// redirected. They look at what stands between "<<" and ">>".
#pragma once

#include <string>

#include "base/console/console.h"
#include "base/status/linear_console_node.h"
#include "os/console.h"
#include "support/child.h"

using namespace trel;

inline const kalvor_test::Child colors_child("Colors", [] {
    Console::print("<<");
    for (const char color : {'B', 'G', 'T', 'R', 'P', 'Y', 'b', 'g', 't', 'r', 'p', 'y', 'w', ' '}) {
        Console::print(std::string(1, color), color);
    }
    Console::print(">>");
    Console::flush();
});

inline const kalvor_test::Child resize_child("Resize", [] {
    Console::print("<<");
    os::set_window_size(80, 25);
    Console::print(">>");
    Console::flush();
});

inline const kalvor_test::Child pause_child("Pause", [] {
    Console::print("<<");
    Console::pause();
    Console::pause();
    Console::print(Console::is_terminal() ? "terminal" : "none");
    Console::print(os::started_from_existing_console() ? " shared" : " own");
    Console::print(">>");
    Console::flush();
});

inline const kalvor_test::Child fatal_exit_child("FatalExit", [] {
    Console::print("<<");
    Console::error_line("broken");
    Console::print(">>");
    Console::fatal_exit(7);
});

// Six keys, then a line.
inline const kalvor_test::Child many_keys_child("ManyKeys", [] {
    Console::print("<<");
    for (int i = 0; i < 6; i++) Console::print(os::wait_for_key() ? "[key]" : "[no key]");
    std::string line;
    Console::read_line(line);
    Console::print("[" + line + "]>>");
    Console::flush();
});

inline const kalvor_test::Child erase_child("Erase", [] {
    Console::print("<<" + std::to_string(Console::columns()));
    Console::erase_line(79);
    Console::print(">>");
    Console::flush();
});

// Lines, and then a key, from the same input.
inline const kalvor_test::Child lines_child("Lines", [] {
    Console::print("<<");
    std::string line;
    for (int i = 0; i < 3; i++) Console::print(Console::read_line(line) ? "[" + line + "]" : "[end]");
    Console::print(os::wait_for_key() ? "[key]" : "[no key]");
    Console::print(Console::read_line(line) ? "[" + line + "]" : "[end]");
    Console::print(">>");
    Console::flush();
});

// Whether a run that shows itself here would ask its user.
inline const kalvor_test::Child attended_child("Attended", [] {
    Console::print("<<");
    Console::print(LinearConsoleNode(79, 1.0).attended() ? "attended" : "alone");
    Console::print(">>");
    Console::flush();
});
